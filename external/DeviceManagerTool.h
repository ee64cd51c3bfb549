#pragma once

#include "external/HostExport.h"

/** What a host lends to a device filter; whoever is given one at construction owns it. */
class HOST_EXPORT DeviceManagerTool
{
public:
    DeviceManagerTool();
    virtual ~DeviceManagerTool();

    DeviceManagerTool(DeviceManagerTool const&) = delete;
    DeviceManagerTool& operator=(DeviceManagerTool const&) = delete;
};
