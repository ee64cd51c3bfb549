#include "tools/vrelhost/commandline/Subcommand.h"

#include "framework/LogSink.h"
#include "tools/common/CommandLine.h"
#include "tools/vrelhost/subcommands/RigSubcommand.h"
#include "tools/vrelhost/subcommands/ScanOptions.h"
#include "tools/vrelhost/work/RunOptions.h"

#include <QCommandLineParser>
#include <QSet>

#include <algorithm>
#include <utility>

namespace {

QList<QCommandLineOption> noOptions()
{
    return {};
}

QList<QCommandLineOption> newRigOptions()
{
    QString const help = QStringLiteral("So many devices, from 1 to %1; needed.");
    return {{QStringLiteral("devices"), help.arg(RigSubcommand::kMostDevices), QStringLiteral("N")}};
}

QCommandLineOption helpOption(char const* meaning)
{
    return {{QStringLiteral("h"), QStringLiteral("help")}, QLatin1String(meaning)};
}

/** What stands for the positional arguments. */
constexpr std::pair<char const*, char const*> kArguments[] = {
    {"NAME", "A command, as vrelhost usages tells them."},
    {"REQUEST",
     "The path of a JSON file, - for standard input, or the JSON text itself, which begins with {. "
     "Its key \"command\" names a command, its other keys are that command's parameters. Its other "
     "texts may hold {serial} and {path}, which stand for the device's; {{serial}} and {{path}} are "
     "these words themselves."},
    {"RECIPE",
     "Likewise a JSON array of steps, taken in order on each device up to the first that fails. A step is a "
     "request, or {\"wait\": SECONDS}, which waits until the vendor API lists the device."},
    {"DIR", "The rig's directory."},
    {"SERIAL", "The device's serial number."},
};

constexpr char const* kNotWritten = "the result cannot be written";

QStringList words(char const* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

HostTool::Subcommand const HostTool::kSubcommands[] = {
    {"version", "", noOptions, &HostTool::showVersion,
     "Shows the versions of library and vendor API, and the date of the build.", "success", kNotWritten,
     "vrelhost version"},
    {"usages", "", noOptions, &HostTool::showUsages, "Shows every command with its parameters.", "success",
     kNotWritten, "vrelhost usages"},
    {"types", "NAME", noOptions, &HostTool::showTypes,
     "Shows the parameter types of a command as one line of JSON.", "success", kNotWritten,
     "vrelhost types erasetoken"},
    {"parameters", "REQUEST", noOptions, &HostTool::showParameters,
     "Shows the parameters that a request holds as one line of JSON.", "success", kNotWritten,
     R"(vrelhost parameters '{"command": "startover", "flags": 1}')"},
    {"run", "REQUEST|RECIPE", RunOptions::runDefinitions, &HostTool::runRequest,
     "Carries a request or a recipe out on one device or many, in-process or by a downloader.",
     "success, on many devices on every one",
     "failure, on many devices on one or more, also for lack of a vendor API or a\n"
     "     device, by an interruption, or since the result cannot be written",
     R"(vrelhost run '{"command": "startover", "flags": 1}' --sn 0A1B2C3D)"},
    {"station", "REQUEST|RECIPE", RunOptions::stationDefinitions, &HostTool::serveStation,
     "Carries a request or a recipe out on each device that is there or appears, until it is interrupted.",
     "no device failed", "a device failed, or the station could not begin",
     R"(vrelhost station '{"command": "startover", "flags": 1}' --stop-after 2)"},
    {"scan", "", ScanOptions::definitions, &HostTool::scanDevices,
     "Lists the USB devices, those that the library serves with serial numbers.",
     "success, also without devices or serial numbers",
     "the USB devices cannot be read, or the result cannot be written", "vrelhost scan --json"},
    {"rig create", "DIR", newRigOptions, &HostTool::createRig,
     "Makes a rig of emulated devices in a new or empty directory.", "success", "it cannot be made",
     "vrelhost rig create bench --devices 24"},
    {"rig unplug", "DIR SERIAL", noOptions, &HostTool::unplugDevice,
     "Unplugs a device of a rig, also while the rig is in use.", "success",
     "it is unplugged already, or cannot be", "vrelhost rig unplug bench VREL0001"},
    {"rig plug", "DIR SERIAL", noOptions, &HostTool::plugDevice,
     "Plugs in a device of a rig that was unplugged, also while the rig is in use.", "success",
     "it is plugged in already, or cannot be", "vrelhost rig plug bench VREL0001"},
    {"rig check", "[DIR]", noOptions, &HostTool::checkRig,
     "Tells whether a rig, without DIR the one that the emulator would take, can be taken or made.",
     "it can be", "it cannot be, for the reason that is told", "vrelhost rig check bench"},
};

QStringList HostTool::Subcommand::nameWords() const
{
    return words(name);
}

QStringList HostTool::Subcommand::argumentWords() const
{
    return words(arguments);
}

HostTool::Subcommands HostTool::Subcommand::meantBy(QStringList const& given)
{
    Subcommands meant;
    for (Subcommand const& entry : kSubcommands) {
        QStringList const name = entry.nameWords();
        int const common = std::min(name.size(), given.size());
        if (common > 0 && name.mid(0, common) == given.mid(0, common))
            meant.push_back(&entry);
    }
    return meant;
}

QList<QCommandLineOption> HostTool::Subcommand::allOptions()
{
    QList<QCommandLineOption> list = commonOptions();
    for (Subcommand const& entry : kSubcommands)
        list += entry.options();
    QList<QCommandLineOption> result;
    QSet<QString> names;
    for (QCommandLineOption const& option : list) {
        QString const name = option.names().constLast();
        if (!names.contains(name))
            result << option;
        names << name;
    }
    return result;
}

QString HostTool::Subcommand::help() const
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QLatin1String(purpose));
    parser.addOptions(options());
    parser.addOption(helpOption("Show this help."));
    for (auto const& [argument, meaning] : kArguments) {
        if (QLatin1String(arguments).contains(QLatin1String(argument)))
            parser.addPositionalArgument(QLatin1String(argument), QLatin1String(meaning));
    }
    return helpText(QStringLiteral("vrelhost [options] ") +
                        (nameWords() + argumentWords()).join(QLatin1Char(' ')),
                    parser,
                    QStringLiteral("Exit code:\n"
                                   "  0  %1\n"
                                   "  1  %2\n"
                                   "  2  the arguments or the request were rejected; nothing was run\n\n"
                                   "Example:\n"
                                   "  $ %3\n\n"
                                   "vrelhost --help tells of the options that all subcommands have.\n")
                        .arg(QLatin1String(success), QLatin1String(failure), QLatin1String(example)));
}

QList<QCommandLineOption> HostTool::Subcommand::commonOptions()
{
    return {
        option(QLatin1String("log-format"),
               "Write log lines to standard error for a person (the default), or as one JSON object a line.",
               "text|json", QStringLiteral("text")),
        option(QLatin1String("log-level"),
               "Leave out log lines above this level: 1 errors, 2 warnings, 3 progress and results (the "
               "default), 4 what is being run, 5 raw output. Level 0 is always shown.",
               "N", QString::number(kProgressLevel)),
        helpOption("Show this help; with a subcommand, that of its own."),
        option(QLatin1String("version"), "Show what the subcommand version shows."),
    };
}

QString HostTool::Subcommand::overview()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Scans for devices in RuX recovery mode and runs requests on them."));
    parser.addOptions(commonOptions());
    for (Subcommand const& entry : kSubcommands)
        parser.addPositionalArgument((entry.nameWords() + entry.argumentWords()).join(QLatin1Char(' ')),
                                     QLatin1String(entry.purpose));
    return helpText(QStringLiteral("vrelhost [options] SUBCOMMAND ..."), parser,
                    QStringLiteral(
                        "vrelhost SUBCOMMAND --help tells of its options, exit codes, and an example.\n"))
        .replace(QLatin1String("\nArguments:\n"), QLatin1String("\nSubcommands:\n"));
}
