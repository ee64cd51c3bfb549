#include "tools/vrelhost/RunOptions.h"

#include "tools/vrelhost/RequestRunner.h"

#include <QCommandLineParser>

#include <algorithm>
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

} // namespace

bool RunOptions::hasPath() const
{
    return std::any_of(devices.begin(), devices.end(), [](Device const& device) { return device.isPath; });
}

QList<QCommandLineOption> RunOptions::definitions()
{
    return {
        QCommandLineOption(kSerial, QString(), QStringLiteral("SERIAL")),
        QCommandLineOption(kPath, QString(), QStringLiteral("USB-PATH")),
        QCommandLineOption(kAll),
        QCommandLineOption(kJobs, QString(), QStringLiteral("N")),
        QCommandLineOption(kJson),
        QCommandLineOption(kExe, QString(), QStringLiteral("PATH")),
        QCommandLineOption(kTimeout, QString(), QStringLiteral("MS"), QStringLiteral("60000")),
        QCommandLineOption(kDryRun),
    };
}

std::optional<RunOptions> RunOptions::read(QCommandLineParser const& parser, QString& error)
{
    auto const timeout = number(parser.value(kTimeout), RequestRunner::kNoTimeout);
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
        options.exe = parser.value(kExe);
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
    return options;
}
