#include "emulator/RigMarker.h"

#include "emulator/Text.h"

#include <QUuid>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <fcntl.h>

namespace VrelRig {

namespace {

constexpr char const* kMarker = ".vrel-rig";
constexpr std::string_view kContent = "A rig of emulated devices; this file makes it one. ID ";
constexpr std::size_t kIdSize = 32;

bool isAlone(std::vector<std::string> const& names)
{
    return names == std::vector<std::string>{kMarker};
}

FileDescriptor openMarker(Directory const& root, RigMarker::IfEmpty ifEmpty)
{
    auto const names = root.names();
    if (names.empty() && ifEmpty == RigMarker::IfEmpty::leave)
        return FileDescriptor();
    if (!names.empty() && !std::binary_search(names.begin(), names.end(), kMarker))
        throw RigError(inQuotes(root.path()) + " is not empty and no rig: it has no file '" + kMarker + "'");
    return root.openFile(kMarker, names.empty() ? O_RDWR | O_CREAT : O_RDWR);
}

/** A lock of the open file, not of the process: threads share it, a child that is forked does not end it. */
struct flock wholeFile(int type)
{
    struct flock lock = {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    return lock;
}

} // namespace

RigMarker::RigMarker(Directory root, IfEmpty ifEmpty)
    : m_root(std::move(root))
    , m_file(openMarker(m_root, ifEmpty))
    , m_owner(::getpid())
{
}

RigMarker::~RigMarker()
{
    auto unlock = wholeFile(F_UNLCK);
    // Closing alone would not end the lock while a forked child still has a copy of the descriptor.
    if (::getpid() == m_owner)
        ::fcntl(m_file.get(), F_OFD_SETLK, &unlock);
}

bool RigMarker::lock()
{
    auto lock = wholeFile(F_WRLCK);
    return ::fcntl(m_file.get(), F_OFD_SETLK, &lock) == 0;
}

bool RigMarker::isHeld() const
{
    auto lock = wholeFile(F_WRLCK);
    return ::fcntl(m_file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool RigMarker::isLinked() const
{
    struct stat status = {};
    return ::fstat(m_file.get(), &status) == 0 && status.st_nlink > 0;
}

std::string RigMarker::id() const
{
    std::array<char, 256> buffer;
    auto const size = m_file.get() < 0 ? 0 : ::pread(m_file.get(), buffer.data(), buffer.size(), 0);
    std::string_view const content(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    if (size == 0 && (m_file.get() < 0 || isAlone(m_root.names())))
        return {};
    auto const id = content.substr(std::min(content.size(), kContent.size()), kIdSize);
    auto const isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
    if (content.size() != kContent.size() + kIdSize + 1 || content.rfind(kContent, 0) != 0 ||
        !std::all_of(id.begin(), id.end(), isDigit))
        throw RigError(inQuotes(m_root.path()) + " is no rig: the emulator did not write its file '" +
                       kMarker + "'");
    return std::string(id);
}

void RigMarker::makeId()
{
    auto const id = QUuid::createUuid().toString(QUuid::Id128).toStdString();
    auto const content = std::string(kContent) + id + '\n';
    if (::pwrite(m_file.get(), content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()))
        failAt("write", m_root.path(kMarker));
}

void RigMarker::removeIfAlone()
{
    if (isAlone(m_root.names()))
        m_root.remove(kMarker);
}

} // namespace VrelRig
