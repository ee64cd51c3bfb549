#pragma once

#include "external/HostExport.h"

class Device;
class DevicePropertyManager;
struct DummyDevice;

/** A plug-in's factory of property managers. The order of the virtual operations is frozen. */
class HOST_EXPORT DevicePropertyManagerAllocatorBase
{
public:
    DevicePropertyManagerAllocatorBase();
    virtual ~DevicePropertyManagerAllocatorBase();

    DevicePropertyManagerAllocatorBase(DevicePropertyManagerAllocatorBase const&) = delete;
    DevicePropertyManagerAllocatorBase& operator=(DevicePropertyManagerAllocatorBase const&) = delete;

    /** A manager for `device`, the host's until handed to dropManager; `device` outlives it. */
    virtual DevicePropertyManager* newManager(Device* device, DummyDevice const& record) = 0;
    /** Frees a manager of this factory; null and managers of others are left alone. */
    virtual void dropManager(DevicePropertyManager* manager) = 0;
};
