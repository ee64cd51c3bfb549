#pragma once

#include "emulator/Rig.h"

#include "external/IVrelAPI.h"

namespace VrelRig {

/** Fills the list with the devices whose description can be read, in order of serial, at most 24. */
void listDevices(Rig const& rig, VrelDeviceList& list);

} // namespace VrelRig
