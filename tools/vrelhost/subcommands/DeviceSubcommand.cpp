#include "tools/vrelhost/subcommands/DeviceSubcommand.h"

#include "external/LogHandler.h"
#include "tools/common/ReportText.h"
#include "tools/common/ToolProcess.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/runs/DeviceRun.h"

#include <QRegularExpression>

#include <algorithm>
#include <initializer_list>
#include <map>

namespace {

using DeviceSubcommand::Number;

constexpr DeviceSubcommand::Option kShared[] = {
    {"jobs", "N", Number{&RunOptions::jobs, "devices"},
     "Serve at most N devices at a time. Default: all at once; with --exe, one at a time."},
    {"json", "", &RunOptions::isJson, "Print the results of many devices as JSON instead of a table."},
    {"exe", "PATH", &RunOptions::exe,
     "Run this downloader instead of working in-process: a path, or a name to be found in PATH."},
    {"timeout", "MS", Number{&RunOptions::timeout, "milliseconds", 0, Number::kMost, true},
     "Kill a downloader that runs longer than MS milliseconds; default 60000, -1 for no limit."},
    {"verify", "", &RunOptions::isVerified, "Read each token back after writetoken, and compare it."},
    {"log-dir", "DIR", &RunOptions::logDirectory,
     "Write all log lines of each device to a new file in this directory, which is made if missing."},
    {"job", "NAME", &RunOptions::job,
     "Name of the job: up to 64 letters, digits, -, . and _. Default: a digest of the request or "
     "recipe."},
    {"ledger", "FILE", &RunOptions::ledger,
     "Record what is done with each device in this SQLite database, which is made if missing, and skip "
     "devices that are done in this job."},
    {"station", "NAME", &RunOptions::station, "Name this place in the ledger. Default: the host's name."},
    {"again", "", &RunOptions::isAgain, "Serve devices again that are done."},
};

/** Serial numbers and paths in the order in which they are given. */
std::vector<RunOptions::Device> namedDevices(QCommandLineParser const& parser)
{
    QLatin1String const path("path");
    std::map<QString, int> taken;
    std::vector<RunOptions::Device> devices;
    for (QString const& name : parser.optionNames()) {
        if (name == path || name == QLatin1String("sn"))
            devices.push_back({name == path, parser.values(name).at(taken[name]++)});
    }
    return devices;
}

bool isJobName(QString const& name)
{
    static QRegularExpression const s_name(QStringLiteral("\\A[A-Za-z0-9._-]{1,64}\\z"));
    return s_name.match(name).hasMatch();
}

/** Why the options make no sense, or not together; empty when they do. */
QString conflict(RunOptions const& options, bool isRecipe)
{
    if (options.isMany && !options.isNamed())
        return QStringLiteral("%1 a device: name it with --sn, --path or --all")
            .arg(QLatin1String(isRecipe ? "A recipe needs" : "--jobs, --json and --ledger need"));
    auto const isEmpty = [](RunOptions::Device const& device) { return device.text.isEmpty(); };
    if (options.isMany && std::any_of(options.devices.begin(), options.devices.end(), isEmpty))
        return QStringLiteral("--sn and --path must not be empty");
    if (options.exe && options.jobs.value_or(1) > 1)
        return QStringLiteral(
            "--jobs above 1 cannot be used with --exe: the vendor API serves one downloader "
            "at a time");
    if (options.job && !isJobName(*options.job))
        return QStringLiteral("--job must be a name of 1 to 64 ASCII letters, digits, -, . and _, not '%1'")
            .arg(ReportText::printable(*options.job));
    if (options.ledger.value_or(QStringLiteral("x")).isEmpty())
        return QStringLiteral("--ledger needs a file");
    return options.station.value_or(QStringLiteral("x")).isEmpty() ? QStringLiteral("--station needs a name")
                                                                   : QString();
}

RunOptions readAll(QCommandLineParser const& parser, RunOptions options, bool isRecipe)
{
    readOptions(parser, kShared, options);
    if (options.exe)
        options.exe = findProgram(*options.exe);
    options.devices = namedDevices(parser);
    options.isMany = isRecipe || options.isAll || options.isJson || options.jobs || options.ledger ||
                     options.hasPath() || options.devices.size() > 1;
    QString const fault = conflict(options, isRecipe);
    if (!fault.isEmpty())
        throw Refusal(fault);
    if (!options.isMany && !options.devices.empty() && options.devices.front().text.isEmpty())
        options.devices.clear(); // whichever is there
    return options;
}

void warnOfIdle(Invocation const& call, std::initializer_list<char const*> names, char const* reason)
{
    for (char const* const name : names) {
        if (call.options.isSet(QLatin1String(name)))
            call.console.log().logMessage(
                kWarningLevel,
                QStringLiteral("--%1 has no effect %2").arg(QLatin1String(name), QLatin1String(reason)));
    }
}

} // namespace

QList<QCommandLineOption> DeviceSubcommand::options()
{
    return definitions(kShared);
}

int DeviceSubcommand::carryOut(Invocation const& call, RunOptions const& given,
                               Interruption::Stage firstSignal, int (*work)(RunSetting&))
{
    Recipe recipe = Recipe::read(call.arguments.constFirst());
    RunOptions const options = readAll(call.options, given, recipe.isArray);
    if (options.isDryRun)
        warnOfIdle(call, {"exe", "timeout", "jobs", "json", "verify", "log-dir", "again"},
                   "with --dry-run: nothing is run");
    else if (!options.exe)
        warnOfIdle(call, {"timeout"}, "without --exe: operations in-process have no time limit");
    if (!recipe.accept(options.isMany, call.console.log()))
        return ExitRejected;
    int const taking = recipe.find("take");
    if (taking > 0 && !options.ledger)
        throw Refusal(
            recipe.rejection(taking, QStringLiteral("it needs --ledger, which records whose each row is")));
    RunSetting setting{options, recipe, call.console, call.console.log(), {call.console, firstSignal}};
    call.console.showWork(true);
    int const exitCode = work(setting);
    call.console.showWork(false);
    return exitCode;
}
