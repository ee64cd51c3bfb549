#include "tools/vrelhost/subcommands/ScanSubcommand.h"

#include "devices/VrelDeviceFilter.h"
#include "devices/VrelDevicePropertyManagerAllocator.h"
#include "external/Device.h"
#include "external/DeviceManagerTool.h"
#include "external/DevicePropertyManager.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"
#include "tools/common/CommandLine.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/log/ReportText.h"
#include "tools/vrelhost/subcommands/ScanOptions.h"
#include "tools/vrelhost/subcommands/UsbTree.h"
#include "tools/vrelhost/work/DownloaderRun.h"
#include "tools/vrelhost/work/Interruption.h"

#include <list>
#include <memory>

namespace {

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
        return QStringLiteral("the vendor API is not available, another process may be using it");
    QString error = QStringLiteral("The vendor API does not list it");
    VendorApi::list(api, error);
    return error.replace(0, 1, QLatin1Char('t')); // it goes on in a sentence
}

QString missingFromDownloader(QString const& exe, bool wasKilled)
{
    QString const fault = executableFault(exe);
    if (!fault.isEmpty())
        return QStringLiteral("the downloader '%1' cannot be run, %2; name it with --exe").arg(exe, fault);
    if (wasKilled)
        return QStringLiteral("the downloader '%1' did not answer in time and was ended").arg(exe);
    return QStringLiteral("the downloader '%1' gave none; --log-level 4 shows what it printed").arg(exe);
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
                                            ? "The downloader was ended: the scan was interrupted"
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
                ? QStringLiteral("no permission to use its node '%1'; install the udev rules that "
                                 "come with the tools and be at the seat or in the group plugdev, "
                                 "or scan with more rights")
                      .arg(node)
            : options.exe ? missingFromDownloader(*options.exe, starter->wasKilled())
                          : missingFromApi(manager);
        log.logMessage(kWarningLevel, QStringLiteral("No serial number for the device at %1: %2")
                                          .arg(ReportText::printable(path), cause));
    }
    return result;
}

} // namespace

std::optional<std::vector<ScannedDevice>> findAndIdentify(ScanOptions const& options, LogHandler const& log)
{
    Interruption const interruption;
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
