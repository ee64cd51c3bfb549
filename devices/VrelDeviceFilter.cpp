#include "devices/VrelDeviceFilter.h"

#include "devices/VrelDeviceFilterData.h"
#include "external/DeviceManagerTool.h"

VrelDeviceFilter::VrelDeviceFilter(VrelManager* plugin, DeviceManagerTool* hostTool, bool (*callback)())
    : DeviceFilter(DeviceFilter::NoChangesConverter)
    , manager(plugin)
    , tool(hostTool)
    , useApi(callback)
{
    logHandler().setName(QStringLiteral("Vrel filter"));
    logHandler().setPrefix(QStringLiteral("Vrel filter"));
}

VrelDeviceFilter::~VrelDeviceFilter() = default;

DeviceFilterData* VrelDeviceFilter::preScanEvent() const
{
    return manager == nullptr ? nullptr : new VrelDeviceFilterData(*this, manager, tool.get(), useApi);
}

void VrelDeviceFilter::filterDevices(std::list<DummyDevice>& found, std::list<DummyDevice>& claimed,
                                     DeviceFilterData* data) const
{
    auto const* const scan = dynamic_cast<VrelDeviceFilterData const*>(data);
    if (scan == nullptr)
        return;
    // Records move with their list nodes; nothing is copied.
    for (auto next = found.begin(); next != found.end();) {
        auto const device = next++;
        if (!scan->updateDevice(*device))
            continue;
        device->isClaimed = 1;
        device->mode = 1;
        device->kind = 1;
        claimed.splice(claimed.end(), found, device);
    }
}

void VrelDeviceFilter::postScanEvent(DeviceFilterData* data) const
{
    delete data;
}

QString VrelDeviceFilter::getFilterName() const
{
    return QStringLiteral("VrelDeviceFilter");
}
