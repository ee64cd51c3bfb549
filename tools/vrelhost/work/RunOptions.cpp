#include "tools/vrelhost/work/RunOptions.h"

#include "tools/common/CommandLine.h"
#include "tools/vrelhost/request/Recipe.h"
#include "tools/vrelhost/work/DownloaderRun.h"

#include <QCommandLineParser>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <map>

namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLongestInterval = 60000; ///< milliseconds

QLatin1String const kSerial("sn");
QLatin1String const kPath("path");
QLatin1String const kAll("all");
QLatin1String const kJobs("jobs");
QLatin1String const kJson("json");
QLatin1String const kExe("exe");
QLatin1String const kTimeout("timeout");
QLatin1String const kWait("wait");
QLatin1String const kDryRun("dry-run");
QLatin1String const kVerify("verify");
QLatin1String const kLogDir("log-dir");
QLatin1String const kInterval("interval");
QLatin1String const kAgain("again");
QLatin1String const kStopAfter("stop-after");

/** Those of runs and stations. */
QList<QCommandLineOption> commonDefinitions()
{
    return {
        option(kJobs,
               "At most so many devices at a time; without it all at once, with --exe one after another.",
               "N"),
        option(kJson, "Show the results on many devices as JSON instead of a table."),
        option(kExe,
               "Run this downloader instead of working in-process: its path, or its name where PATH leads to "
               "it.",
               "PATH"),
        option(kTimeout, "End a downloader that takes longer; 60000 without it, -1 for no limit.", "MS"),
        option(kVerify, "Read back what writetoken has written, and compare it."),
        option(kLogDir,
               "Keep all log lines of each device in a new file of this directory, which is made if missing.",
               "DIR"),
    };
}

/** An option whose value is a number. */
struct NumberOption
{
    QLatin1String name;
    std::optional<int> RunOptions::*member;
    char const* unit;
    int least = 1;
    int most = kMost;
    char const* more = "";
};

NumberOption const kNumbers[] = {
    {kTimeout, &RunOptions::timeout, "milliseconds", 0, kMost, ", or -1 for no limit"},
    {kJobs, &RunOptions::jobs, "devices"},
    {kWait, &RunOptions::wait, "seconds", 1, Recipe::kLongestWait},
    {kInterval, &RunOptions::interval, "milliseconds", 1, kLongestInterval},
    {kStopAfter, &RunOptions::stopAfter, "devices"},
};

/** @return what is wrong with one of those that are given; empty when nothing is */
QString readNumbers(QCommandLineParser const& parser, RunOptions& options)
{
    QStringList const given = parser.optionNames();
    for (NumberOption const& number : kNumbers) {
        if (!given.contains(number.name))
            continue;
        bool isNumber = false;
        int const value = parser.value(number.name).toInt(&isNumber);
        bool const isNoLimit = *number.more != '\0' && value == DownloaderRun::kNoTimeout;
        if (!isNumber || !(isNoLimit || (value >= number.least && value <= number.most)))
            return QStringLiteral("--%1 is a number of %2 from %3 to %4%5")
                .arg(number.name, QLatin1String(number.unit))
                .arg(number.least)
                .arg(number.most)
                .arg(QLatin1String(number.more));
        options.*number.member = value;
    }
    return QString();
}

/** Serial numbers and paths in the order in which they are given. */
std::vector<RunOptions::Device> namedDevices(QCommandLineParser const& parser)
{
    std::map<QString, int> taken;
    std::vector<RunOptions::Device> devices;
    for (QString const& name : parser.optionNames()) {
        if (name == kSerial || name == kPath)
            devices.push_back({name == kPath, parser.values(name).at(taken[name]++)});
    }
    return devices;
}

/** Why the options do not go together; empty when they do. */
QString conflict(RunOptions const& options, bool isRecipe)
{
    if (options.isMany && !options.isNamed())
        return QStringLiteral("%1 a device: name it with --sn, --path or --all")
            .arg(QLatin1String(isRecipe ? "A recipe needs" : "--jobs and --json need"));
    auto const isEmpty = [](RunOptions::Device const& device) { return device.text.isEmpty(); };
    if (options.isMany && std::any_of(options.devices.begin(), options.devices.end(), isEmpty))
        return QStringLiteral("A device is named by a serial number or a USB path that is not empty");
    if (options.exe && options.jobs.value_or(1) > 1)
        return QStringLiteral("--jobs above 1 does not go with --exe: the vendor API serves one downloader "
                              "at a time");
    return QString();
}

/** A line for each option that changes nothing for a reason. */
QStringList idleOptions(QStringList const& given, std::initializer_list<QLatin1String> names,
                        char const* reason)
{
    QStringList lines;
    for (QLatin1String const name : names) {
        if (given.contains(name))
            lines << QStringLiteral("--%1 has no effect %2").arg(name, QLatin1String(reason));
    }
    return lines;
}

} // namespace

bool RunOptions::hasPath() const
{
    return std::any_of(devices.begin(), devices.end(), [](Device const& device) { return device.isPath; });
}

QList<QCommandLineOption> RunOptions::runDefinitions()
{
    QList<QCommandLineOption> const own = {
        option(
            kSerial,
            "The device with this serial number; without it the only device. Given several times, all these "
            "devices.",
            "SERIAL"),
        option(kPath, "The device at this USB path, such as 1-4.2. May be given several times.", "USB-PATH"),
        option(kAll, "All devices that the vendor API lists, which are 24 at most."),
        option(kWait, "Wait so long for the vendor API to be free and for the devices to be there.",
               "SECONDS"),
        option(kDryRun, "Touch no device, and show the downloader's arguments as a JSON array."),
    };
    return own + commonDefinitions();
}

QList<QCommandLineOption> RunOptions::stationDefinitions()
{
    QList<QCommandLineOption> const own = {
        option(kInterval, "Look for devices so often; every 500 without it.", "MS"),
        option(kAgain, "Serve also devices that were served with success, whenever they appear again."),
        option(kStopAfter, "End once so many devices have been served with success.", "N"),
    };
    return commonDefinitions() + own;
}

std::optional<RunOptions> RunOptions::read(QCommandLineParser const& parser, RunOptions const& usual,
                                           QString& error)
{
    RunOptions options = usual;
    QStringList const given = parser.optionNames();
    error = readNumbers(parser, options);
    if (!error.isEmpty())
        return std::nullopt;
    if (given.contains(kExe))
        options.exe.emplace(findProgram(parser.value(kExe)));
    if (given.contains(kLogDir))
        options.logDirectory.emplace(parser.value(kLogDir));
    options.devices = namedDevices(parser);
    options.isAll = usual.isAll || given.contains(kAll);
    options.isDryRun = given.contains(kDryRun);
    options.isJson = given.contains(kJson);
    options.isVerified = given.contains(kVerify);
    options.isAgain = given.contains(kAgain);
    options.isMany = usual.isMany || options.isAll || options.isJson || options.jobs || options.hasPath() ||
                     options.devices.size() > 1;
    error = conflict(options, usual.isMany);
    if (!error.isEmpty())
        return std::nullopt;
    if (!options.isMany && !options.devices.empty() && options.devices.front().text.isEmpty())
        options.devices.clear(); // whichever is there
    if (options.isDryRun)
        options.idle = idleOptions(given, {kExe, kTimeout, kJobs, kJson, kVerify, kLogDir},
                                   "with --dry-run: nothing is run");
    else if (!options.exe)
        options.idle = idleOptions(given, {kTimeout}, "without --exe: what runs in-process is waited for");
    return options;
}
