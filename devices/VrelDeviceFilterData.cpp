#include "devices/VrelDeviceFilterData.h"

#include "devices/VrelClaimRule.h"

VrelDeviceFilterData::VrelDeviceFilterData(VrelDeviceFilter const& /*filter*/, VrelManager* /*manager*/,
                                           DeviceManagerTool* /*tool*/, bool (* /*useApi*/)())
{
}

VrelDeviceFilterData::~VrelDeviceFilterData() = default;

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked of the scan's data
bool VrelDeviceFilterData::updateDevice(DummyDevice& device) const
{
    if (!VrelClaimRule::isRecoveryDevice(device.port, device.vendorId, device.productId))
        return false;
    if (device.serialText == QLatin1String("0"))
        device.serialText = QLatin1String("");
    return true;
}
