#include "emulator/OutputFile.h"

#include "emulator/FileSystem.h"
#include "emulator/RigError.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace VrelRig {

namespace {

constexpr int kWriteFlags = O_WRONLY | O_CLOEXEC | O_NOCTTY;

std::string nextTemporaryName()
{
    static std::atomic<unsigned> s_counter = 0;
    return ".vrel-" + std::to_string(::getpid()) + '-' + std::to_string(s_counter++);
}

bool isReplaceable(std::string const& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

} // namespace

OutputFile OutputFile::inRig(std::string const& path, std::string const& temporaryDirectory)
{
    makeDirectories(parentOf(path));
    return {path, temporaryDirectory};
}

OutputFile OutputFile::outside(std::string const& path)
{
    if (!path.empty() && path.back() == '/')
        throw RigError("Cannot write '" + path + "': it names a directory");
    if (!isReplaceable(path))
        return OutputFile(path);
    auto const target = resolvedPath(path);
    // A rename would replace what the caller may not write.
    if (exists(target) && ::access(target.c_str(), W_OK) != 0)
        throw RigError(systemErrorText("write", target));
    OutputFile file(target, parentOf(target));
    file.copyModeFrom(target);
    return file;
}

OutputFile::OutputFile(std::string path)
    : m_path(std::move(path))
    , m_file(
          ::open(m_path.c_str(), kWriteFlags | O_NONBLOCK)) // a pipe that nobody reads is an error, no hang
{
    if (!m_file.isOpen() || ::fcntl(m_file.get(), F_SETFL, kWriteFlags) != 0)
        throw RigError(systemErrorText("write", m_path));
}

OutputFile::OutputFile(std::string path, std::string const& temporaryDirectory)
    : m_path(std::move(path))
{
    // A killed process may have left a temporary, and its process ID may come again.
    do {
        m_temporary = temporaryDirectory + '/' + nextTemporaryName();
        m_file = FileDescriptor(::open(m_temporary.c_str(), kWriteFlags | O_CREAT | O_EXCL, 0666));
    } while (!m_file.isOpen() && errno == EEXIST);
    if (!m_file.isOpen())
        throw RigError(systemErrorText("write", m_path));
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : m_path(std::move(other.m_path))
    , m_temporary(std::exchange(other.m_temporary, {}))
    , m_file(std::move(other.m_file))
{
}

OutputFile::~OutputFile()
{
    if (!m_temporary.empty())
        ::unlink(m_temporary.c_str());
}

void OutputFile::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        auto const count = ::write(m_file.get(), bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            throw RigError(systemErrorText("write", m_path));
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void OutputFile::commit()
{
    if (m_temporary.empty())
        return;
    if (::fsync(m_file.get()) != 0)
        throw RigError(systemErrorText("write", m_path));
    renamePath(m_temporary, m_path);
    m_temporary.clear();
    syncDirectory(parentOf(m_path));
}

void OutputFile::copyModeFrom(std::string const& path)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) == 0)
        ::fchmod(m_file.get(), status.st_mode & 07777U);
}

} // namespace VrelRig
