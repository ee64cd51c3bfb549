#pragma once

#include "external/DevicePropertyManagerAllocatorBase.h"
#include "plugin/VrelExport.h"

#include <memory>

class DeviceManagerProgramTool;
class VrelManager;

/** Makes a VrelDevicePropertyManager for each device of the host's. */
class VREL_EXPORT VrelDevicePropertyManagerAllocator : public DevicePropertyManagerAllocatorBase
{
public:
    /**
     * @param plugin outlives the allocator and its property managers; without one no serial number is found
     * @param hostTool owned by the allocator from now on and lent to its property managers; may be null
     * @param callback asked at each fetch: true takes serial numbers from the vendor API, false from the
     *        downloader; not null
     */
    VrelDevicePropertyManagerAllocator(VrelManager* plugin, DeviceManagerProgramTool* hostTool,
                                       bool (*callback)());
    ~VrelDevicePropertyManagerAllocator() override;

    DevicePropertyManager* newManager(Device* device, DummyDevice const& record) override;
    void dropManager(DevicePropertyManager* m) override;

private:
    VrelManager* const manager;
    std::unique_ptr<DeviceManagerProgramTool> const tool;
    bool (*const useApi)();
};
