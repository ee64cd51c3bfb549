#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/JsonText.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tools/common/ReportText.h"
#include "tools/common/ToolProcess.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/request/CommandList.h"
#include "tools/vrelhost/request/Recipe.h"
#include "tools/vrelhost/subcommands/DeviceSubcommand.h"
#include "tools/vrelhost/subcommands/Subcommands.h"

namespace {

int showVersion(Invocation const& call)
{
    return call.console.print(VrelManager::getVersion().toUtf8() + '\n' + VrelManagerLib::getBuildDate() +
                              '\n');
}

int showUsages(Invocation const& call)
{
    return call.console.print(VrelFlashUtils::getUsages().toUtf8());
}

int showTypes(Invocation const& call)
{
    if (!call.arguments.isEmpty())
        return call.console.print(toCompactJson(CommandList::types(call.arguments.constFirst())) + '\n');
    QList<QByteArray> members;
    for (QString const& command : CommandList::names())
        members << ReportText::json(command) + ':' + toCompactJson(CommandList::types(command));
    return call.console.print('{' + members.join(',') + "}\n");
}

int showParameters(Invocation const& call)
{
    QString error;
    JsonObject const request = readRequest(call.arguments.constFirst());
    JsonObject const parameters = VrelFlashUtils::getParameters(request, error);
    int const printed = call.console.print(toCompactJson(parameters) + '\n');
    if (error.isEmpty())
        return printed;
    call.console.log().logMessage(kErrorLevel, error);
    return ExitRejected;
}

constexpr Arguments kName = {"[NAME]",
                             {{"NAME", "A command's name. Without it: all commands, each with its types."}}};
constexpr char const* kNotWritten = "the result cannot be written";

} // namespace

Subcommands::Rows Subcommands::about()
{
    return {
        {"version", kNoArguments, nullptr, showVersion,
         "Prints the versions of library and vendor API, and the build date.", "success", kNotWritten,
         "vrelhost version"},
        {"usages", kNoArguments, nullptr, showUsages, "Shows every command with its parameters.", "success",
         kNotWritten, "vrelhost usages"},
        {"types", kName, nullptr, showTypes,
         "Shows the parameter types of a command, or of all, as one line of JSON.", "success", kNotWritten,
         "vrelhost types erasetoken"},
        {"parameters", DeviceSubcommand::kRequest, nullptr, showParameters,
         "Shows the parameters in a request as one line of JSON.", "success", kNotWritten,
         R"(vrelhost parameters '{"command": "startover", "flags": 1}')"},
    };
}
