#pragma once

#include "emulator/RigTemplate.h"

#include <string>
#include <vector>

namespace VrelRig {

/** Makes a tree in the shape of /sys/bus/usb/devices: the devices, an interface of each, their root hubs. */
void makeUsbTree(std::string const& directory, std::vector<DeviceDescription> const& devices);

} // namespace VrelRig
