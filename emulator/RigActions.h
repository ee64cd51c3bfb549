#pragma once

#include "emulator/NewRig.h"

#include <string>
#include <vector>

/** What a person does with a rig from outside. What cannot be done gives a RigError that tells why. */
namespace VrelRig {

/** Makes a rig with these devices in a directory that is new or empty. */
void createRig(std::string const& path, std::vector<DeviceDescription> const& devices);

/** Changes nothing. @return a sentence that tells that the rig could be taken or made */
std::string checkRig(std::string const& path);

/** Moves a device's directory back to the plugged ones, in one step; also while a process holds the rig. */
void plugDevice(std::string const& path, std::string const& serial);

/** Moves it aside. */
void unplugDevice(std::string const& path, std::string const& serial);

} // namespace VrelRig
