#pragma once

#include <string>
#include <vector>

/**
 * Directories and names. All paths are byte strings (UTF-8) handed to the system unchanged, so that they work
 * in every locale. Failures are RigError texts with the path and the system's reason.
 */
namespace VrelRig {

/** @return the RigError text "Cannot ACTION 'PATH': REASON" for the present errno */
std::string systemErrorText(std::string const& action, std::string const& path);

/** @return the names in a directory, sorted, without "." and ".." */
std::vector<std::string> directoryEntries(std::string const& path);

bool isDirectory(std::string const& path);

/** @return whether something, even a dangling symbolic link, has this name */
bool exists(std::string const& path);

/** Makes a directory and its parents; one that exists is fine. */
void makeDirectories(std::string const& path);

/** Removes a file or a whole directory; one that does not exist is fine. */
void removeTree(std::string const& path);

void renamePath(std::string const& from, std::string const& to);

/** Makes the names in a directory durable. */
void syncDirectory(std::string const& path);

/** @return the directory part of a path, "." when it has none */
std::string parentOf(std::string const& path);

/** @return the last component of a path */
std::string fileNameOf(std::string const& path);

/** @return the path without symbolic links; a last component that does not exist is kept */
std::string resolvedPath(std::string const& path);

} // namespace VrelRig
