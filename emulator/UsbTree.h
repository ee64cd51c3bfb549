#pragma once

#include "emulator/Devices.h"
#include "emulator/Files.h"

#include <string>

/**
 * A tree in the shape of /sys/bus/usb/devices. What a device shows lies in its own directory; as there, the
 * tree holds a link to it, so that it goes and comes with the device's directory in one step.
 */
namespace VrelRig::UsbTree {

/** Makes the tree of all devices whose path can be read, with the root hubs of their buses. */
void make(Directory const& tree, Directory const& devices);

/** Adds a device at a path; one that is there already is fine. @throws RigError when the path is taken */
void add(Directory const& tree, std::string const& serial, UsbPath const& path);

/** Removes the device, at whatever path it is. */
void remove(Directory const& tree, std::string const& serial);

} // namespace VrelRig::UsbTree
