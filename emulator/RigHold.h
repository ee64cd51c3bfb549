#pragma once

#include "emulator/Rig.h"

#include <memory>
#include <string>

/** The process's hold on the rig, shared and counted. Safe for any thread. */
namespace VrelRig::RigHold {

/**
 * Takes one hold. The first one opens the rig, making it when there is none.
 * @throws RigError when another process has the rig, or it can be neither opened nor made
 */
void take();

/** Gives one hold back; the last one gives the rig back. Without a hold nothing happens. */
void giveBack();

/** @return the held rig, which stays locked as long as it is in use. @throws RigError without a hold */
std::shared_ptr<Rig> current();

/** @return the directory of the rig that the environment names, VREL_RIG or the user's state directory */
std::string configuredRoot();

} // namespace VrelRig::RigHold
