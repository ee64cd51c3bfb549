#pragma once

#include "devices/VrelClaimRule.h"
#include "external/DeviceFilter.h"

class DeviceManagerTool;
class VrelDeviceFilter;
class VrelManager;

/** Marks a scan as prepared by this library's filter. */
class VrelDeviceFilterData : public DeviceFilterData
{
public:
    /** Keeps nothing of its arguments. */
    VrelDeviceFilterData(VrelDeviceFilter const& filter, VrelManager* manager, DeviceManagerTool* tool,
                         bool (*useApi)());
    ~VrelDeviceFilterData() override;

    /**
     * Whether the library serves this device. If so, a serial text of "0", which stands for none, is made
     * empty; no other field changes.
     */
    bool updateDevice(DummyDevice& device) const;
};

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked of the scan's data
inline bool VrelDeviceFilterData::updateDevice(DummyDevice& device) const
{
    if (!VrelClaimRule::isRecoveryDevice(device.port, device.vendorId, device.productId))
        return false;
    if (device.serialText.size() == 1 && device.serialText.at(0) == QLatin1Char('0'))
        device.serialText = QLatin1String("");
    return true;
}
