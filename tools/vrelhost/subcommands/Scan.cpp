#include "devices/VrelDeviceFilter.h"
#include "devices/VrelDevicePropertyManagerAllocator.h"
#include "external/Device.h"
#include "external/DeviceManagerTool.h"
#include "external/DevicePropertyManager.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"
#include "tools/common/CommandLine.h"
#include "tools/common/ReportText.h"
#include "tools/common/ToolProcess.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/commandline/OptionTable.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/runs/DownloaderRun.h"
#include "tools/vrelhost/runs/Interruption.h"
#include "tools/vrelhost/subcommands/Subcommands.h"
#include "tools/vrelhost/subcommands/UsbTree.h"

#include <QCoreApplication>

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <vector>

namespace {

struct ScanOptions
{
    QString root = QStringLiteral("/sys/bus/usb/devices"); ///< of the tree of USB devices
    QString nodes = QStringLiteral("/dev/bus/usb");        ///< of the device nodes, BUS/DEVICE
    QString source = QStringLiteral("api");
    std::optional<QString> exe; ///< the downloader that tells serial numbers; the vendor API without
    bool isJson = false;
};

constexpr OptionRow<ScanOptions> kScanOptions[] = {
    {"sysfs", "DIR", &ScanOptions::root,
     "Directory of USB devices in the form of sysfs; default /sys/bus/usb/devices."},
    {"dev", "DIR", &ScanOptions::nodes, "Directory of the device nodes; default /dev/bus/usb."},
    {"serial-from", "api|exe", &ScanOptions::source,
     "Get serial numbers from the vendor API (default) or from the downloader."},
    {"exe", "PATH", &ScanOptions::exe,
     "The downloader to ask: a path, or a name to be found in PATH. Default: the ruxFwDownloader beside "
     "vrelhost."},
    {"json", "", &ScanOptions::isJson, "Print the devices as one line of JSON instead of a table."},
};

/** What does not stop a scan is logged. */
ScanOptions readScanOptions(Invocation const& call)
{
    ScanOptions options;
    readOptions(call.options, kScanOptions, options);
    bool const isFromApi = options.source == QLatin1String("api");
    if (options.root.isEmpty())
        throw Refusal(QStringLiteral("--sysfs needs a directory"));
    if (!isFromApi && options.source != QLatin1String("exe"))
        throw Refusal(QStringLiteral("--serial-from must be api or exe, not '%1'").arg(options.source));
    if (isFromApi) {
        if (options.exe)
            call.console.log().logMessage(kWarningLevel, "--exe has no effect without --serial-from exe");
        options.exe.reset();
        return options;
    }
    options.exe = findProgram(
        options.exe.value_or(QCoreApplication::applicationDirPath() + QStringLiteral("/ruxFwDownloader")));
    if (!options.exe->contains(QLatin1Char('/')))
        call.console.log().logMessage(
            kErrorLevel, QStringLiteral("Cannot run the downloader '%1': %2; give its path with --exe")
                             .arg(*options.exe, executableFault(*options.exe)));
    return options;
}

/** One device as a scan shows it. */
struct ScannedDevice
{
    QString path; ///< "usb.devicePath"
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    bool isClaimed = false;
    QString serial;        ///< null when it is not known
    bool isDenied = false; ///< not known, and there is no permission to use the device
};

using UseApi = bool (*)();

UseApi useApi(ScanOptions const& options)
{
    if (options.exe)
        return [] { return false; };
    return [] { return true; };
}

QString pathOf(DummyDevice const& device)
{
    return device.port.getLocation();
}

QString querySerial(DevicePropertyManagerAllocatorBase& allocator, DummyDevice const& record)
{
    Device device(record);
    auto const drop = [&allocator](DevicePropertyManager* manager) { allocator.dropManager(manager); };
    std::unique_ptr<DevicePropertyManager, decltype(drop)> const manager(
        allocator.newManager(&device, record), drop);
    return manager->getProperty(QStringLiteral("vrel.serial"));
}

void claimDevices(VrelManager& manager, ScanOptions const& options, std::list<DummyDevice>& devices)
{
    VrelDeviceFilter const filter(&manager, new DeviceManagerTool, useApi(options));
    std::list<DummyDevice> claimed;
    DeviceFilterData* const data = filter.preScanEvent();
    filter.filterDevices(devices, claimed, data);
    filter.postScanEvent(data);
    devices.merge(claimed, [](DummyDevice const& a, DummyDevice const& b) { return pathOf(a) < pathOf(b); });
}

QString missingFromApi(VrelManager& manager)
{
    VrelApiManager api = manager.fetchApi();
    if (!api)
        return QStringLiteral("the vendor API is not available, ") + VendorApi::absence();
    QString error = QStringLiteral("The vendor API does not list it");
    VendorApi::list(api, error);
    return error.replace(0, 1, QLatin1Char('t')); // it goes on in a sentence
}

QString missingFromDownloader(QString const& exe, bool wasKilled)
{
    QString const fault = executableFault(exe);
    if (!fault.isEmpty())
        return QStringLiteral("the downloader '%1' cannot be run, %2; give its path with --exe")
            .arg(exe, fault);
    if (wasKilled)
        return QStringLiteral("the downloader '%1' did not answer in time and was killed").arg(exe);
    return QStringLiteral("the downloader '%1' printed none; --log-level 4 shows its output").arg(exe);
}

/** What is known of all devices; nothing, with the cause logged, when a downloader was not waited for. */
std::optional<std::vector<ScannedDevice>> identify(std::list<DummyDevice> const& devices,
                                                   VrelManager& manager, ScanOptions const& options,
                                                   LogHandler const& log)
{
    auto* const starter = new DownloaderStarter(options.exe.value_or(QString())); // the allocator's
    VrelDevicePropertyManagerAllocator allocator(&manager, starter, useApi(options));
    std::vector<ScannedDevice> result;
    for (DummyDevice const& record : devices) {
        QString const path = pathOf(record);
        QString const serial = querySerial(allocator, record);
        if (options.exe && Interruption::isRequested()) {
            log.logMessage(kErrorLevel, starter->wasKilled()
                                            ? "The downloader was killed: the scan was interrupted"
                                            : "The scan was interrupted");
            return std::nullopt;
        }
        ScannedDevice& device = result.emplace_back(
            ScannedDevice{path, record.vendorId, record.productId, record.isClaimed != 0, serial});
        if (!device.isClaimed || !serial.isNull())
            continue;
        QString const node = UsbTree::node(options.root, path, options.nodes);
        device.isDenied = UsbTree::isDenied(node);
        QString const cause =
            device.isDenied
                ? QStringLiteral("no permission to use its node '%1'; install the udev rules that come with "
                                 "the tools and join the group plugdev, or run the scan as root")
                      .arg(node)
            : options.exe ? missingFromDownloader(*options.exe, starter->wasKilled())
                          : missingFromApi(manager);
        log.logMessage(kWarningLevel, QStringLiteral("No serial number for the device at %1: %2")
                                          .arg(ReportText::printable(path), cause));
    }
    return result;
}

/**
 * One scan as a host carries it out: finds devices, lets the library's filter claim its own, and asks the
 * library's property managers for serial numbers. A claimed device without one is listed all the same, and
 * logged at level 2.
 * @return the devices in the order of their paths; nothing, with the cause logged, when they could not be
 * read or a downloader not be waited for
 */
std::optional<std::vector<ScannedDevice>> findAndIdentify(ScanOptions const& options, Console const& console)
{
    Interruption const interruption(console, Interruption::Steps, true);
    LogHandler const& log = console.log();
    VrelManager manager;
    // Before the tree is read: a vendor library may bring its devices up when it is first taken, as the
    // emulator makes its rig.
    VrelApiManager api = manager.fetchApi();
    auto devices = UsbTree::devices(options.root, log);
    if (!devices)
        return std::nullopt;
    if (options.exe)
        api = VrelApiManager(); // for the downloader to take
    VendorApi::DeviceList listed;
    if (api.getDeviceList(listed) == 0)
        VendorApi::warnOfFullList(listed, log);
    claimDevices(manager, options, *devices);
    return identify(*devices, manager, options, log);
}

QString hex4(std::uint16_t number)
{
    return QStringLiteral("%1").arg(number, 4, 16, QLatin1Char('0'));
}

QString serialCell(ScannedDevice const& device)
{
    if (!device.serial.isNull())
        return device.serial;
    return device.isDenied ? QStringLiteral("(no permission)") : QStringLiteral("-");
}

QByteArray toTable(std::vector<ScannedDevice> const& devices)
{
    if (devices.empty())
        return "No USB devices found\n";
    QList<QStringList> rows{
        {QStringLiteral("PATH"), QStringLiteral("ID"), QStringLiteral("CLAIMED"), QStringLiteral("SERIAL")}};
    for (ScannedDevice const& device : devices)
        rows << QStringList{device.path, hex4(device.vendorId) + QLatin1Char(':') + hex4(device.productId),
                            device.isClaimed ? QStringLiteral("yes") : QStringLiteral("no"),
                            serialCell(device)};
    return ReportText::table(rows);
}

QByteArray toJson(std::vector<ScannedDevice> const& devices)
{
    QList<QByteArray> entries;
    for (ScannedDevice const& device : devices)
        // By hand, since QJsonObject would sort the keys.
        entries << R"({"path":)" + ReportText::json(device.path) + R"(,"vendor":)" +
                       QByteArray::number(device.vendorId) + R"(,"product":)" +
                       QByteArray::number(device.productId) + R"(,"claimed":)" +
                       (device.isClaimed ? "true" : "false") + R"(,"serial":)" +
                       ReportText::json(device.serial) + '}';
    return ReportText::jsonArray(entries) + '\n';
}

QList<QCommandLineOption> scanOptions()
{
    return definitions(kScanOptions);
}

int carryOutScan(Invocation const& call)
{
    ScanOptions const options = readScanOptions(call);
    call.console.showWork(true);
    auto const devices = findAndIdentify(options, call.console);
    call.console.showWork(false);
    if (!devices)
        return ExitFailure;
    return call.console.print(options.isJson ? toJson(*devices) : toTable(*devices));
}

} // namespace

Subcommands::Rows Subcommands::scan()
{
    return {{"scan", kNoArguments, scanOptions, carryOutScan,
             "Lists the USB devices, and the serial numbers of those that the library serves.",
             "success, even without devices or serial numbers",
             "the USB devices cannot be read, or the result cannot be written", "vrelhost scan --json"}};
}
