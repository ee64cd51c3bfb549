#include "emulator/Files.h"

#include "emulator/Text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <set>
#include <sys/mman.h>
#include <system_error>

namespace VrelRig {

namespace {

constexpr int kOpenFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK; // a pipe without a peer would wait forever

/** What comes through a pipe, as a file in memory; any other file as it is. */
FileDescriptor spooled(FileDescriptor const& file, std::string const& path)
{
    constexpr int kWait = 5000; // milliseconds, for each piece
    constexpr std::uint64_t kMost = 64 * kMebibyte;

    if (file.get() < 0 || !S_ISFIFO(file.status().st_mode))
        return file;
    FileDescriptor const memory(::memfd_create("pipe", MFD_CLOEXEC));
    if (memory.get() < 0)
        failAt("read", path);
    std::array<char, 64 * 1024> piece;
    for (std::uint64_t size = 0; size <= kMost;) {
        pollfd state = {file.get(), POLLIN, 0};
        if (::poll(&state, 1, kWait) == 0)
            failTo("read", path, "the pipe delivers nothing");
        ssize_t const count = ::read(file.get(), piece.data(), piece.size());
        if (count == 0)
            return memory;
        if (count < 0 && errno != EAGAIN && errno != EINTR)
            failAt("read", path);
        auto const length = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        memory.write({piece.data(), length}, path);
        size += length;
    }
    failTo("read", path, "the pipe delivers more than is accepted");
}

} // namespace

void failAt(std::string const& action, std::string const& path)
{
    int const code = errno;
    failTo(action, path, std::generic_category().message(code), code);
}

FileDescriptor::FileDescriptor(int descriptor)
    : m_descriptor(new int(descriptor), [](int const* owned) {
        if (*owned >= 0)
            ::close(*owned);
        delete owned;
    })
{
}

void FileDescriptor::write(std::string_view bytes, std::string const& path) const
{
    while (!bytes.empty()) {
        auto const count = ::write(get(), bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            failAt("write", path);
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

struct stat FileDescriptor::status() const
{
    struct stat status = {};
    ::fstat(get(), &status);
    return status;
}

InputFile::InputFile(std::string const& path, std::uint64_t maximum)
    : InputFile(spooled(FileDescriptor(::open(path.c_str(), O_RDONLY | kOpenFlags)), path), path, maximum)
{
}

InputFile::InputFile(FileDescriptor file, std::string path, std::uint64_t maximum)
    : m_path(std::move(path))
    , m_file(std::move(file))
{
    if (m_file.get() < 0)
        failAt("open", m_path);
    m_status = m_file.status();
    if (!S_ISREG(m_status.st_mode))
        failTo("read", m_path, "it is not a regular file");
    if (size() > maximum)
        throw RigError(inQuotes(m_path) + " holds " + std::to_string(size()) + " bytes, at most " +
                       std::to_string(maximum) + " are accepted");
}

void InputFile::read(std::uint64_t offset, std::uint64_t length,
                     std::function<void(std::string_view)> const& take) const
{
    std::array<char, 64 * 1024> piece;
    auto const end = offset + length;
    for (ssize_t count = 1; offset < end && count > 0; offset += static_cast<std::size_t>(count)) {
        auto const wanted = std::min<std::size_t>(end - offset, piece.size());
        count = ::pread(m_file.get(), piece.data(), wanted, static_cast<off_t>(offset));
        if (count < 0)
            failAt("read", m_path);
        take({piece.data(), static_cast<std::size_t>(count)});
    }
    auto const now = m_file.status();
    if (offset < end || now.st_size != m_status.st_size ||
        std::memcmp(&now.st_mtim, &m_status.st_mtim, sizeof(now.st_mtim)) != 0)
        throw RigError(inQuotes(m_path) + " changed while it was read");
}

std::string InputFile::content() const
{
    std::string content;
    read(0, size(), [&](std::string_view piece) { content += piece; });
    return content;
}

Directory::Directory(std::string path)
    : m_path(std::move(path))
    , m_file(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    if (m_file.get() < 0)
        failAt("open directory", m_path);
}

std::string Directory::path(std::string const& name) const
{
    return name.empty() ? m_path : m_path + (m_path.back() == '/' ? "" : "/") + name;
}

std::vector<std::string> Directory::names() const
{
    dirent** entries = nullptr;
    int const count = ::scandirat(m_file.get(), ".", &entries, nullptr, nullptr);
    if (count < 0)
        failAt("read directory", m_path);
    std::set<std::string> names;
    for (int i = 0; i < count; std::free(entries[i++]))
        names.insert(entries[i]->d_name);
    std::free(entries);
    names.erase(".");
    names.erase("..");
    return {names.begin(), names.end()};
}

bool Directory::holds(std::string const& name, Directory const& other) const
{
    auto const here = status(name);
    auto const there = other.status(".");
    return here.st_dev == there.st_dev && here.st_ino == there.st_ino;
}

std::string Directory::linkText(std::string const& name) const
{
    std::array<char, 4096> text;
    auto const size = ::readlinkat(m_file.get(), name.c_str(), text.data(), text.size());
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

void Directory::requireWritable() const
{
    if (::faccessat(m_file.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        failAt("make files in", m_path);
}

Directory Directory::open(std::string const& name) const
{
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    Directory found = *this;
    found.m_path = path(name);
    found.m_file =
        FileDescriptor(checked(::openat(m_file.get(), name.c_str(), kFlags), "open directory", name));
    return found;
}

Directory Directory::make(std::string const& name) const
{
    if (::mkdirat(m_file.get(), name.c_str(), modeOf(0777)) != 0 && errno != EEXIST)
        failAt("make directory", path(name));
    return open(name);
}

FileDescriptor Directory::openFile(std::string const& name, int flags) const
{
    int const mode = flags | kOpenFlags | O_NOFOLLOW;
    FileDescriptor file(checked(::openat(m_file.get(), name.c_str(), mode, modeOf(0666)), "open", name));
    if (!S_ISREG(file.status().st_mode))
        failTo("open", path(name), "it is not a regular file");
    return file;
}

void Directory::create(std::string const& name, std::string_view content) const
{
    openFile(name, O_WRONLY | O_CREAT | O_EXCL).write(content, path(name));
}

void Directory::store(std::string const& name, std::string_view content) const
{
    OutputFile file(*this, name);
    file.write(content);
    file.commit();
}

void Directory::makeLink(std::string const& name, std::string const& text) const
{
    checked(::symlinkat(text.c_str(), m_file.get(), name.c_str()), "make link", name);
}

void Directory::rename(std::string const& name, Directory const& target, std::string const& newName) const
{
    if (::renameat(m_file.get(), name.c_str(), target.m_file.get(), newName.c_str()) != 0)
        failAt("put in place", target.path(newName));
}

void Directory::remove(std::string const& name) const
{
    checked(::unlinkat(m_file.get(), name.c_str(), 0), "remove", name);
    sync();
}

void Directory::removeTree(std::string const& name) const
{
    bool const isDirectory = hasDirectory(name);
    for (auto const& entry : isDirectory ? open(name).names() : std::vector<std::string>())
        open(name).removeTree(entry);
    checked(::unlinkat(m_file.get(), name.c_str(), isDirectory ? AT_REMOVEDIR : 0), "remove", name);
}

struct stat Directory::status(std::string const& name) const
{
    struct stat status = {};
    if (::fstatat(m_file.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT)
        failAt("look at", path(name));
    return status;
}

/** Within a rig nothing is open to more users than the directory it lies in. */
mode_t Directory::modeOf(mode_t wanted) const
{
    return wanted & (m_file.status().st_mode | S_IRWXU);
}

void Directory::sync() const
{
    // Some file systems cannot sync a directory (EINVAL); what was done stands all the same.
    if (::fsync(m_file.get()) != 0 && errno != EINVAL)
        failAt("sync directory", m_path);
}

int Directory::checked(int result, char const* action, std::string const& name) const
{
    int const reason = errno;
    if (result < 0 && S_ISLNK(status(name).st_mode))
        failTo(action, path(name), "it is a symbolic link, which is not followed in a rig");
    errno = reason;
    if (result < 0)
        failAt(action, path(name));
    return result;
}

OutputFile OutputFile::outside(std::string const& path)
{
    namespace fs = std::filesystem;
    struct stat status = {};
    if (!path.empty() && path.back() == '/')
        failTo("write", path, "it names a directory");
    bool const exists = ::stat(path.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        FileDescriptor const file(::open(path.c_str(), O_WRONLY | kOpenFlags));
        if (file.get() < 0 || ::fcntl(file.get(), F_SETFL, O_WRONLY) != 0)
            failAt("write", path);
        return {path, file};
    }
    fs::path const target = exists ? fs::canonical(path) : fs::path(path);
    auto const parent = target.parent_path().string();
    return {Directory(parent.empty() ? "." : parent), target.filename().string()};
}

OutputFile::OutputFile(std::string path, FileDescriptor file)
    : m_path(std::move(path))
    , m_file(std::move(file))
{
}

OutputFile::OutputFile(Directory directory, std::string name)
    : OutputFile(directory.path(name), FileDescriptor()) // so that a failure below removes the temporary
{
    m_directory = std::move(directory);
    m_name = std::move(name);
    m_place = m_directory.m_workplace ? *m_directory.m_workplace : m_directory;
    auto const old = m_directory.status(m_name);
    bool const isThere = old.st_mode != 0;
    if (isThere && !S_ISREG(old.st_mode))
        failTo("write", m_path, "it is not a regular file");
    // A rename would replace what this process may not write.
    if (isThere && ::faccessat(m_directory.m_file.get(), m_name.c_str(), W_OK, AT_EACCESS) != 0)
        failAt("write", m_path);
    openTemporary(isThere ? S_IRUSR | S_IWUSR : m_directory.m_workplace ? m_directory.modeOf(0666) : 0666);
    if (isThere)
        takeOver(old);
}

OutputFile::~OutputFile()
{
    if (!m_temporary.empty())
        ::unlinkat(m_place.m_file.get(), m_temporary.c_str(), 0);
}

void OutputFile::commit()
{
    if (m_temporary.empty())
        return;
    if (::fsync(m_file.get()) != 0)
        failAt("write", m_path);
    m_place.rename(m_temporary, m_directory, m_name);
    m_temporary.clear();
    m_directory.sync();
}

void OutputFile::openTemporary(mode_t mode)
{
    static std::atomic<unsigned> s_counter = 0;
    do {
        m_temporary = ".vrel-" + std::to_string(::getpid()) + '-' + std::to_string(s_counter++);
        m_file = FileDescriptor(::openat(m_place.m_file.get(), m_temporary.c_str(),
                                         O_WRONLY | O_CREAT | O_EXCL | kOpenFlags, mode));
    } while (m_file.get() < 0 && errno == EEXIST);
    if (m_file.get() < 0) {
        m_temporary.clear();
        failAt("write", m_path);
    }
}

/** Owner and permissions of the file that is replaced; what was meant for another group is left out. */
void OutputFile::takeOver(struct stat const& old)
{
    auto mode = old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    if (::fchown(m_file.get(), old.st_uid, old.st_gid) != 0 &&
        ::fchown(m_file.get(), static_cast<uid_t>(-1), old.st_gid) != 0)
        mode &= ~static_cast<mode_t>(S_IRWXG) | (mode & S_IRWXO) << 3U;
    if (::fchmod(m_file.get(), mode) != 0)
        failAt("write", m_path);
}

} // namespace VrelRig
