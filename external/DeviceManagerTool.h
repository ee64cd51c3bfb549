#pragma once

#include "external/HostExport.h"

/** What a host gives to a device filter, which owns it. */
class HOST_EXPORT DeviceManagerTool
{
public:
    DeviceManagerTool();
    virtual ~DeviceManagerTool();

    DeviceManagerTool(DeviceManagerTool const&) = delete;
    DeviceManagerTool& operator=(DeviceManagerTool const&) = delete;
};
