#include "emulator/LockFile.h"

#include "emulator/FileSystem.h"
#include "emulator/RigError.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>

namespace VrelRig {

namespace {

bool lockWithin(int descriptor, std::chrono::milliseconds patience)
{
    constexpr std::chrono::milliseconds kInterval(5);
    auto const end = std::chrono::steady_clock::now() + patience;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(kInterval);
    }
    return true;
}

} // namespace

LockFile::LockFile(std::string const& path, Kind kind, std::chrono::milliseconds patience)
    : m_file(kind == Kind::file ? ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)
                                : ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    , m_owner(::getpid())
{
    if (!m_file.isOpen() || !lockWithin(m_file.get(), patience))
        throw RigError(systemErrorText("lock", path));
}

LockFile::~LockFile()
{
    // Closing alone would not end the lock while a forked child still has a copy of the descriptor.
    if (::getpid() == m_owner)
        ::flock(m_file.get(), LOCK_UN);
}

} // namespace VrelRig
