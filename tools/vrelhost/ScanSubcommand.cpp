#include "tools/vrelhost/ScanSubcommand.h"

#include "devices/VrelDeviceFilter.h"
#include "devices/VrelDevicePropertyManagerAllocator.h"
#include "external/Device.h"
#include "external/DeviceManagerTool.h"
#include "external/DevicePropertyManager.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"
#include "tools/common/ExecutableFault.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/DeviceNode.h"
#include "tools/vrelhost/DownloaderRun.h"
#include "tools/vrelhost/Interruption.h"
#include "tools/vrelhost/ReportText.h"
#include "tools/vrelhost/UsbScanner.h"

#include <memory>
#include <utility>

namespace {

using UseApi = bool (*)();

UseApi useApi(ScanSubcommand::SerialSource source)
{
    if (source == ScanSubcommand::SerialSource::Api)
        return [] { return true; };
    return [] { return false; };
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

} // namespace

ScanSubcommand::ScanSubcommand(QString root, QString nodes, SerialSource source, QString exe,
                               LogHandler const& log)
    : m_root(std::move(root))
    , m_nodes(std::move(nodes))
    , m_source(source)
    , m_exe(std::move(exe))
    , m_log(log)
{
}

std::optional<std::vector<ScannedDevice>> ScanSubcommand::run() const
{
    Interruption const interruption;
    VrelManager manager;
    // Before the tree is read: a vendor library may bring its devices up when it is first taken, as the
    // emulator makes its rig.
    VrelApiManager api = manager.fetchApi();
    auto devices = UsbScanner(m_root, m_log).scan();
    if (!devices)
        return std::nullopt;
    if (m_source == SerialSource::Exe)
        api = VrelApiManager(); // for the downloader to take
    VendorApi::DeviceList listed;
    if (api.getDeviceList(listed) == 0)
        VendorApi::warnOfFullList(listed, m_log);
    claimDevices(manager, *devices);
    return identify(manager, *devices);
}

void ScanSubcommand::claimDevices(VrelManager& manager, std::list<DummyDevice>& devices) const
{
    VrelDeviceFilter const filter(&manager, new DeviceManagerTool, useApi(m_source));
    std::list<DummyDevice> claimed;
    DeviceFilterData* const data = filter.preScanEvent();
    filter.filterDevices(devices, claimed, data);
    filter.postScanEvent(data);
    devices.merge(claimed, [](DummyDevice const& a, DummyDevice const& b) { return pathOf(a) < pathOf(b); });
}

std::optional<std::vector<ScannedDevice>>
ScanSubcommand::identify(VrelManager& manager, std::list<DummyDevice> const& devices) const
{
    auto* const starter = new DownloaderStarter(m_exe); // the allocator's
    VrelDevicePropertyManagerAllocator allocator(&manager, starter, useApi(m_source));
    std::vector<ScannedDevice> result;
    result.reserve(devices.size());
    for (DummyDevice const& record : devices) {
        bool const isClaimed = record.isClaimed != 0;
        QString const serial = querySerial(allocator, record);
        if (m_source == SerialSource::Exe && Interruption::isRequested()) {
            m_log.logMessage(kErrorLevel, starter->wasKilled()
                                              ? "The downloader was ended: the scan was interrupted"
                                              : "The scan was interrupted");
            return std::nullopt;
        }
        bool isDenied = false;
        if (isClaimed && serial.isNull()) {
            QString const node = DeviceNode::path(m_root, pathOf(record), m_nodes);
            isDenied = DeviceNode::isDenied(node);
            m_log.logMessage(
                kWarningLevel,
                QStringLiteral("No serial number for the device at %1: %2")
                    .arg(ReportText::printable(pathOf(record)),
                         isDenied
                             ? QStringLiteral("no permission to use its node '%1'; "
                                              "install the udev rules that come with the tools and be at "
                                              "the seat or in the group plugdev, or scan with more rights")
                                   .arg(node)
                             : missingSerialCause(manager, *starter)));
        }
        result.push_back({pathOf(record), record.vendorId, record.productId, isClaimed, serial, isDenied});
    }
    return result;
}

QString ScanSubcommand::missingSerialCause(VrelManager& manager, DownloaderStarter const& starter) const
{
    if (m_source == SerialSource::Api) {
        VrelApiManager api = manager.fetchApi();
        if (!api)
            return QStringLiteral("the vendor API is not available, another process may be using it");
        QString error = QStringLiteral("does not list it");
        VendorApi::list(api, error);
        return QStringLiteral("the vendor API ") + error;
    }
    QString const fault = executableFault(m_exe);
    if (!fault.isEmpty())
        return QStringLiteral("the downloader '%1' cannot be run, %2; name it with --exe").arg(m_exe, fault);
    if (starter.wasKilled())
        return QStringLiteral("the downloader '%1' did not answer in time and was ended").arg(m_exe);
    return QStringLiteral("the downloader '%1' gave none; --log-level 4 shows what it printed").arg(m_exe);
}
