#include "devices/VrelDeviceFilterData.h"

VrelDeviceFilterData::VrelDeviceFilterData(VrelDeviceFilter const& /*filter*/, VrelManager* /*manager*/,
                                           DeviceManagerTool* /*tool*/, bool (* /*useApi*/)())
{
}

VrelDeviceFilterData::~VrelDeviceFilterData() = default;
