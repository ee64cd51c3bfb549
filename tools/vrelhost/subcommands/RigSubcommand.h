#pragma once

#include <QString>

#include <optional>

class LogHandler;

/** What `vrelhost rig` does. What cannot be done is logged at level 1, with its cause and the way out. */
namespace RigSubcommand {

constexpr int kMostDevices = 1000;

/**
 * Makes a rig in a directory that is absent or empty, whole or not at all.
 * @param count of devices, 1 to kMostDevices; number N from 0 on is always the same device
 * @return whether it was made
 */
bool create(QString const& directory, int count, LogHandler const& log);

/** Moves a device's directory back into the rig, also while a process holds it. @return whether it was moved
 */
bool plug(QString const& directory, QString const& serial, LogHandler const& log);

/** Moves it aside. */
bool unplug(QString const& directory, QString const& serial, LogHandler const& log);

/**
 * Looks whether the rig in this directory, or without one the rig that the environment names, could be taken
 * or made; touches nothing. @return a line that tells so, nothing when it could not
 */
std::optional<QString> check(std::optional<QString> const& directory, LogHandler const& log);

} // namespace RigSubcommand
