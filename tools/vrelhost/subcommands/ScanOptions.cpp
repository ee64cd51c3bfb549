#include "tools/vrelhost/subcommands/ScanOptions.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/common/CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace {

QLatin1String const kTreeOption("sysfs");
QLatin1String const kNodesOption("dev");
QLatin1String const kSourceOption("serial-from");
QLatin1String const kDownloaderOption("exe");
QLatin1String const kJsonOption("json");

} // namespace

QList<QCommandLineOption> ScanOptions::definitions()
{
    return {
        option(kTreeOption, "Read the USB devices there instead of in /sys/bus/usb/devices.", "DIR",
               QStringLiteral("/sys/bus/usb/devices")),
        option(kNodesOption, "Look for the device nodes there instead of in /dev/bus/usb.", "DIR",
               QStringLiteral("/dev/bus/usb")),
        option(kSourceOption, "Take serial numbers from the vendor API (the default) or from the downloader.",
               "api|exe", QStringLiteral("api")),
        option(kDownloaderOption,
               "The downloader to ask: its path, or its name where PATH leads to it; without it the "
               "ruxFwDownloader beside vrelhost.",
               "PATH", QCoreApplication::applicationDirPath() + QStringLiteral("/ruxFwDownloader")),
        option(kJsonOption, "Show the devices as one line of JSON instead of a table."),
    };
}

std::optional<ScanOptions> ScanOptions::read(QCommandLineParser const& parser, LogHandler const& log,
                                             QString& error)
{
    QString const source = parser.value(kSourceOption);
    bool const isFromApi = source == QLatin1String("api");
    if (parser.value(kTreeOption).isEmpty())
        error = QStringLiteral("--sysfs is the path of a directory, not empty");
    else if (!isFromApi && source != QLatin1String("exe"))
        error = QStringLiteral("--serial-from is api or exe, not '%1'").arg(source);
    if (!error.isEmpty())
        return std::nullopt;
    QString const exe = findProgram(parser.value(kDownloaderOption));
    if (isFromApi && parser.isSet(kDownloaderOption))
        log.logMessage(kWarningLevel, "--exe has no effect without --serial-from exe");
    else if (!isFromApi && !exe.contains(QLatin1Char('/')))
        log.logMessage(kErrorLevel, QStringLiteral("Cannot run the downloader '%1': %2; name it with --exe")
                                        .arg(exe, executableFault(exe)));
    return ScanOptions{parser.value(kTreeOption), parser.value(kNodesOption),
                       isFromApi ? std::nullopt : std::make_optional(exe), parser.isSet(kJsonOption)};
}
