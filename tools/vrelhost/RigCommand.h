#pragma once

#include <QString>

class LogHandler;

/** Makes rigs for the emulator, of any number of devices. */
namespace RigCommand {

constexpr int kMostDevices = 1000;

/**
 * Makes a rig in a directory that is absent or empty, whole or not at all.
 * @param count of devices, 1 to kMostDevices; number N from 0 on is always the same device
 * @return false, with the cause logged at level 1, when it cannot be made
 */
bool create(QString const& directory, int count, LogHandler const& log);

} // namespace RigCommand
