#include "emulator/InputFile.h"

#include "emulator/FileSystem.h"
#include "emulator/RigError.h"

#include <QCryptographicHash>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace VrelRig {

namespace {

constexpr std::size_t kChunkSize = 64 * 1024;

} // namespace

InputFile::InputFile(std::string path)
    : m_path(std::move(path))
    // O_NONBLOCK: opening a FIFO without a writer would otherwise wait forever.
    , m_file(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))
{
    struct stat status = {};
    if (!m_file.isOpen() || ::fstat(m_file.get(), &status) != 0)
        throw RigError(systemErrorText("open", m_path));
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        throw RigError(systemErrorText("read", m_path) + " (not a regular file)");
    }
    m_size = static_cast<std::uint64_t>(status.st_size);
}

std::size_t InputFile::read(std::uint64_t offset, char* buffer, std::size_t length) const
{
    ssize_t count = 0;
    do {
        count = ::pread(m_file.get(), buffer, length, static_cast<off_t>(offset));
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        throw RigError(systemErrorText("read", m_path));
    return static_cast<std::size_t>(count);
}

FileDigest digestOf(InputFile const& file)
{
    std::array<char, kChunkSize> chunk;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    FileDigest digest;
    while (auto const count = file.read(digest.size, chunk.data(), chunk.size())) {
        hash.addData(chunk.data(), static_cast<int>(count));
        digest.size += count;
    }
    digest.sha256 = hash.result().toHex().toStdString();
    return digest;
}

std::string readFile(InputFile const& file, std::uint64_t maximum)
{
    if (file.size() > maximum)
        throw RigError(quoted(file.path()) + " holds " + std::to_string(file.size()) + " bytes, at most " +
                       std::to_string(maximum) + " are accepted");
    std::string content(file.size(), '\0');
    std::size_t filled = 0;
    while (filled < content.size()) {
        auto const count = file.read(filled, content.data() + filled, content.size() - filled);
        if (count == 0)
            break;
        filled += count;
    }
    content.resize(filled);
    return content;
}

} // namespace VrelRig
