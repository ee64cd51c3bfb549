#include "emulator/RigMarker.h"

#include "emulator/Text.h"

#include <algorithm>
#include <fcntl.h>

namespace VrelRig::RigMarker {

namespace {

constexpr char const* kName = ".vrel-rig";
constexpr char const* kContent = "A rig of emulated devices. This file makes it one; leave it alone.\n";

bool isAlone(Directory const& root)
{
    return root.names() == std::vector<std::string>{kName};
}

bool control(FileDescriptor const& marker, int command, int type, struct flock& lock)
{
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    return ::fcntl(marker.get(), command, &lock) == 0;
}

} // namespace

FileDescriptor open(Directory const& root, int flags)
{
    auto const names = root.names();
    bool const isThere = std::binary_search(names.begin(), names.end(), kName);
    if (!names.empty() && !isThere)
        throw RigError(inQuotes(root.path()) + " is not empty and no rig: it has no file '" + kName + "'");
    return isThere || flags != 0 ? root.openFile(kName, O_RDWR | flags) : FileDescriptor();
}

bool isBegun(Directory const& root, FileDescriptor const& marker)
{
    if (marker.get() < 0)
        return false;
    auto const content = InputFile(marker, root.path(kName), kMebibyte).content();
    if (content.empty() && isAlone(root))
        return false;
    if (content == kContent)
        return true;
    throw RigError(inQuotes(root.path()) + " is no rig: the emulator did not write its file '" + kName + "'");
}

void begin(Directory const& root, FileDescriptor const& marker)
{
    marker.write(kContent, root.path(kName));
}

std::string prefix(FileDescriptor const& marker)
{
    auto const status = marker.status();
    return std::to_string(status.st_ino) + '-' + std::to_string(status.st_mtim.tv_sec) + '-' +
           std::to_string(status.st_mtim.tv_nsec) + '-';
}

bool lock(FileDescriptor const& marker)
{
    struct flock lock = {};
    return control(marker, F_OFD_SETLK, F_WRLCK, lock);
}

void unlock(FileDescriptor const& marker)
{
    struct flock lock = {};
    control(marker, F_OFD_SETLK, F_UNLCK, lock);
}

bool isLocked(FileDescriptor const& marker)
{
    struct flock lock = {};
    return control(marker, F_OFD_GETLK, F_WRLCK, lock) && lock.l_type != F_UNLCK;
}

void removeIfAlone(Directory const& root)
{
    if (isAlone(root))
        root.remove(kName);
}

} // namespace VrelRig::RigMarker
