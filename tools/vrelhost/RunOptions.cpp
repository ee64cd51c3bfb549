#include "tools/vrelhost/RunOptions.h"

#include "tools/common/ExecutableFault.h"
#include "tools/vrelhost/DownloaderRun.h"

#include <QCommandLineParser>

#include <algorithm>
#include <initializer_list>
#include <limits>

namespace {

constexpr int kMost = std::numeric_limits<int>::max();

QLatin1String const kSerial("sn");
QLatin1String const kPath("path");
QLatin1String const kAll("all");
QLatin1String const kJobs("jobs");
QLatin1String const kJson("json");
QLatin1String const kExe("exe");
QLatin1String const kTimeout("timeout");
QLatin1String const kDryRun("dry-run");

std::optional<int> number(QString const& text, int least)
{
    bool isNumber = false;
    int const value = text.toInt(&isNumber);
    if (!isNumber || value < least)
        return std::nullopt;
    return value;
}

/** Serial numbers and paths in the order in which they are given. */
std::vector<RunOptions::Device> namedDevices(QCommandLineParser const& parser)
{
    QStringList serials = parser.values(kSerial);
    QStringList paths = parser.values(kPath);
    std::vector<RunOptions::Device> devices;
    for (QString const& name : parser.optionNames()) {
        if (name == kSerial)
            devices.push_back({false, serials.takeFirst()});
        else if (name == kPath)
            devices.push_back({true, paths.takeFirst()});
    }
    return devices;
}

/** Why the options do not go together; empty when they do. */
QString conflict(RunOptions const& options)
{
    bool const isNamed = options.isAll || !options.devices.empty();
    if (options.isMany && !isNamed)
        return QStringLiteral("--jobs and --json need a device: name it with --sn, --path or --all");
    auto const isEmpty = [](RunOptions::Device const& device) { return device.text.isEmpty(); };
    if (options.isMany && std::any_of(options.devices.begin(), options.devices.end(), isEmpty))
        return QStringLiteral("A device is named by a serial number or a USB path that is not empty");
    if (options.exe && options.jobs.value_or(1) > 1)
        return QStringLiteral("--jobs above 1 does not go with --exe: the vendor API serves one downloader "
                              "at a time");
    return QString();
}

/** A line for each option that changes nothing beside the others. */
QStringList idleOptions(QCommandLineParser const& parser, RunOptions const& options)
{
    struct Case
    {
        bool isGiven;
        std::initializer_list<QLatin1String> names;
        char const* reason;
    };
    Case const cases[] = {
        {options.isDryRun, {kExe, kTimeout, kJobs, kJson}, "with --dry-run: nothing is run"},
        {!options.isDryRun && !options.exe, {kTimeout}, "without --exe: what runs in-process is waited for"},
    };
    QStringList lines;
    for (Case const& entry : cases) {
        for (QLatin1String const name : entry.names) {
            if (entry.isGiven && parser.isSet(name))
                lines << QStringLiteral("--%1 has no effect %2").arg(name, QLatin1String(entry.reason));
        }
    }
    return lines;
}

} // namespace

bool RunOptions::hasPath() const
{
    return std::any_of(devices.begin(), devices.end(), [](Device const& device) { return device.isPath; });
}

QList<QCommandLineOption> RunOptions::definitions()
{
    auto const option = [](QLatin1String name, char const* help, char const* value = "",
                           char const* usual = "") {
        return QCommandLineOption(name, QLatin1String(help), QLatin1String(value), QLatin1String(usual));
    };
    return {
        option(
            kSerial,
            "The device with this serial number; without it the only device. Given several times, all these "
            "devices.",
            "SERIAL"),
        option(kPath, "The device at this USB path, such as 1-4.2. May be given several times.", "USB-PATH"),
        option(kAll, "All devices that the vendor API lists, which are 24 at most."),
        option(kJobs,
               "At most so many devices at a time; without it all at once, with --exe one after another.",
               "N"),
        option(kJson, "Show the results on many devices as one line of JSON instead of a table."),
        option(kExe,
               "Run this downloader instead of working in-process: its path, or its name where PATH leads to "
               "it.",
               "PATH"),
        option(kTimeout, "End a downloader that takes longer; 60000 without it, -1 for no limit.", "MS",
               "60000"),
        option(kDryRun, "Touch no device, and show the downloader's arguments as a JSON array."),
    };
}

std::optional<RunOptions> RunOptions::read(QCommandLineParser const& parser, QString& error)
{
    auto const timeout = number(parser.value(kTimeout), DownloaderRun::kNoTimeout);
    if (!timeout) {
        error = QStringLiteral("--timeout is a number of milliseconds from 0 to %1, or -1 for no limit")
                    .arg(kMost);
        return std::nullopt;
    }
    RunOptions options;
    options.timeout = *timeout;
    options.devices = namedDevices(parser);
    options.isAll = parser.isSet(kAll);
    options.isJson = parser.isSet(kJson);
    options.isDryRun = parser.isSet(kDryRun);
    if (parser.isSet(kExe))
        options.exe.emplace(findProgram(parser.value(kExe)));
    if (parser.isSet(kJobs)) {
        options.jobs = number(parser.value(kJobs), 1);
        if (!options.jobs) {
            error = QStringLiteral("--jobs is a number of devices from 1 to %1").arg(kMost);
            return std::nullopt;
        }
    }
    options.isMany =
        options.isAll || options.isJson || options.jobs || options.hasPath() || options.devices.size() > 1;
    error = conflict(options);
    if (!error.isEmpty())
        return std::nullopt;
    options.idle = idleOptions(parser, options);
    return options;
}
