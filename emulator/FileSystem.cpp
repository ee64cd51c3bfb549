#include "emulator/FileSystem.h"

#include "emulator/FileDescriptor.h"
#include "emulator/RigError.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <system_error>

namespace VrelRig {

namespace {

namespace fs = std::filesystem;

void require(std::error_code const& error, std::string const& action, std::string const& path)
{
    if (error)
        throw RigError("Cannot " + action + ' ' + quoted(path) + ": " + error.message());
}

} // namespace

std::string systemErrorText(std::string const& action, std::string const& path)
{
    auto const reason = std::generic_category().message(errno);
    return "Cannot " + action + ' ' + quoted(path) + ": " + reason;
}

std::vector<std::string> directoryEntries(std::string const& path)
{
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().filename().string());
    require(error, "read directory", path);
    std::sort(names.begin(), names.end());
    return names;
}

bool isDirectory(std::string const& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool exists(std::string const& path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

void makeDirectories(std::string const& path)
{
    std::error_code error;
    fs::create_directories(path, error);
    require(error, "make directory", path);
}

void removeTree(std::string const& path)
{
    std::error_code error;
    fs::remove_all(path, error);
    require(error, "remove", path);
}

void renamePath(std::string const& from, std::string const& to)
{
    if (::rename(from.c_str(), to.c_str()) != 0)
        throw RigError(systemErrorText("put in place", to));
}

void syncDirectory(std::string const& path)
{
    FileDescriptor const directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems cannot sync a directory (EINVAL); the rename itself stands all the same.
    if (!directory.isOpen() || (::fsync(directory.get()) != 0 && errno != EINVAL))
        throw RigError(systemErrorText("sync directory", path));
}

std::string parentOf(std::string const& path)
{
    auto const parent = fs::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

std::string fileNameOf(std::string const& path)
{
    return fs::path(path).filename().string();
}

std::string resolvedPath(std::string const& path)
{
    std::unique_ptr<char, decltype(&std::free)> const resolved(::realpath(path.c_str(), nullptr), &std::free);
    if (resolved)
        return resolved.get();
    if (errno != ENOENT || exists(path))
        throw RigError(systemErrorText("resolve", path));
    if (fileNameOf(path).empty())
        return resolvedPath(parentOf(path));
    return resolvedPath(parentOf(path)) + '/' + fileNameOf(path);
}

} // namespace VrelRig
