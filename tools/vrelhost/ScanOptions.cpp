#include "tools/vrelhost/ScanOptions.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/common/ExecutableFault.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace {

QLatin1String const kSysfs("sysfs");
QLatin1String const kDev("dev");
QLatin1String const kSerialFrom("serial-from");
QLatin1String const kExe("exe");
QLatin1String const kJson("json");

} // namespace

QList<QCommandLineOption> ScanOptions::definitions()
{
    return {
        {kSysfs, QStringLiteral("Read the USB devices there instead of in /sys/bus/usb/devices."),
         QStringLiteral("DIR"), QStringLiteral("/sys/bus/usb/devices")},
        {kDev, QStringLiteral("Look for the device nodes there instead of in /dev/bus/usb."),
         QStringLiteral("DIR"), QStringLiteral("/dev/bus/usb")},
        {kSerialFrom,
         QStringLiteral("Take serial numbers from the vendor API (the default) or from the downloader."),
         QStringLiteral("api|exe"), QStringLiteral("api")},
        {kExe,
         QStringLiteral("The downloader to ask: its path, or its name where PATH leads to it; without it the "
                        "ruxFwDownloader beside vrelhost."),
         QStringLiteral("PATH"), QCoreApplication::applicationDirPath() + QStringLiteral("/ruxFwDownloader")},
        {kJson, QStringLiteral("Show the devices as one line of JSON instead of a table.")},
    };
}

std::optional<ScanOptions> ScanOptions::read(QCommandLineParser const& parser, LogHandler const& log,
                                             QString& error)
{
    QString const source = parser.value(kSerialFrom);
    bool const isFromApi = source == QLatin1String("api");
    if (parser.value(kSysfs).isEmpty())
        error = QStringLiteral("--sysfs is the path of a directory, not empty");
    else if (!isFromApi && source != QLatin1String("exe"))
        error = QStringLiteral("--serial-from is api or exe, not '%1'").arg(source);
    if (!error.isEmpty())
        return std::nullopt;
    QString const exe = findProgram(parser.value(kExe));
    if (isFromApi && parser.isSet(kExe))
        log.logMessage(kWarningLevel, "--exe has no effect without --serial-from exe");
    else if (!isFromApi && !exe.contains(QLatin1Char('/')))
        log.logMessage(kErrorLevel, QStringLiteral("Cannot run the downloader '%1': %2; name it with --exe")
                                        .arg(exe, executableFault(exe)));
    return ScanOptions{parser.value(kSysfs), parser.value(kDev),
                       isFromApi ? ScanCommand::SerialSource::Api : ScanCommand::SerialSource::Exe, exe,
                       parser.isSet(kJson)};
}
