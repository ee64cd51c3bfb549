#pragma once

#include "emulator/Files.h"

#include <string>

/**
 * The file that makes a directory a rig; its lock is the hold on the rig. The lock belongs to the open file:
 * threads share it, a child made by fork neither has it nor ends it.
 */
namespace VrelRig::RigMarker {

/**
 * Opens the marker of a rig; in an empty directory it is made with `flags` O_CREAT, else left unopened.
 * @throws RigError when the directory is neither empty nor a rig
 */
FileDescriptor open(Directory const& root, int flags = 0);

/** @return whether the rig was begun, and not only its marker. @throws RigError for a foreign file */
bool isBegun(Directory const& root, FileDescriptor const& marker);

/** Begins the rig. */
void begin(Directory const& root, FileDescriptor const& marker);

/** @return how the names of files begin that are made for this rig, and nobody else's */
std::string prefix(FileDescriptor const& marker);

/** Locks the rig until unlock(), or until the process ends. @return whether it was free */
bool lock(FileDescriptor const& marker);

void unlock(FileDescriptor const& marker);

/** @return whether another process has the lock */
bool isLocked(FileDescriptor const& marker);

/** Removes the marker when there is nothing else in the directory. */
void removeIfAlone(Directory const& root);

} // namespace VrelRig::RigMarker
