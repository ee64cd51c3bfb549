#pragma once

#include "emulator/OperationLog.h"
#include "emulator/RigDevice.h"

namespace VrelRig {

/** @return the content of a new device's lifecycle file: the first stage */
std::string initialLifecycle();

/**
 * Moves the device to the lifecycle stage that the token's text names: development, manufacturing, production
 * or decommissioned. @throws RigError unless the stage is a later one than the device's
 */
void advanceLifecycleStage(RigDevice const& device, char const* tokenPath, OperationLog const& log);

} // namespace VrelRig
