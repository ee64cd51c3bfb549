#pragma once

#include "emulator/RigTemplate.h"

namespace VrelRig {

/** Fills the directory of a new device, with made-up values that its serial number determines. */
void makeDevice(std::string const& directory, DeviceDescription const& device);

} // namespace VrelRig
