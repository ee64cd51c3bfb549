#include "devices/VrelDevicePropertyManagerAllocator.h"

#include "devices/VrelDevicePropertyManager.h"
#include "external/DeviceManagerProgramTool.h"

VrelDevicePropertyManagerAllocator::VrelDevicePropertyManagerAllocator(VrelManager* plugin,
                                                                       DeviceManagerProgramTool* hostTool,
                                                                       bool (*callback)())
    : manager(plugin)
    , tool(hostTool)
    , useApi(callback)
{
}

VrelDevicePropertyManagerAllocator::~VrelDevicePropertyManagerAllocator() = default;

DevicePropertyManager* VrelDevicePropertyManagerAllocator::newManager(Device* device,
                                                                      DummyDevice const& record)
{
    return new VrelDevicePropertyManager(manager, tool.get(), useApi, this, device, record);
}

void VrelDevicePropertyManagerAllocator::dropManager(DevicePropertyManager* m)
{
    delete dynamic_cast<VrelDevicePropertyManager*>(m);
}
