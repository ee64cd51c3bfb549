#pragma once

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
