#pragma once

#include <cstdint>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

/**
 * Files and directories. All paths are byte strings handed to the system unchanged, so that they work in
 * every locale. Failures are RigErrors that name the path and the system's reason.
 *
 * What lies in a rig is reached from its root by a Directory alone, name by name and without following a
 * link: whatever is put in the way of it, nothing outside the rig is touched.
 */
namespace VrelRig {

constexpr std::uint64_t kMebibyte = 1024 * 1024;
constexpr std::uint64_t kUnlimited = ~std::uint64_t(0);

/** @throws RigError "Cannot ACTION 'PATH': REASON" for the present errno */
[[noreturn]] void failAt(std::string const& action, std::string const& path);

/** An open file descriptor, closed with its last copy. */
class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor = -1);
    int get() const { return *m_descriptor; }
    struct stat status() const;

    /** @throws RigError with the path */
    void write(std::string_view bytes, std::string const& path) const;

private:
    std::shared_ptr<int const> m_descriptor;
};

/** A regular file opened for reading. */
class InputFile
{
public:
    /**
     * Opens a file that the caller named, at the end of a symbolic link if need be. What comes through a pipe
     * is taken whole; each piece is waited for, for 5 s.
     */
    explicit InputFile(std::string const& path, std::uint64_t maximum = kUnlimited);

    /** Takes over an open file. @throws RigError when it is no regular one, or holds more bytes */
    InputFile(FileDescriptor file, std::string path, std::uint64_t maximum = kUnlimited);

    std::string const& path() const { return m_path; }
    std::uint64_t size() const { return static_cast<std::uint64_t>(m_status.st_size); }

    /**
     * Hands on `length` bytes from `offset`, in pieces.
     * @throws RigError when the file ends before, or changes meanwhile
     */
    void read(std::uint64_t offset, std::uint64_t length,
              std::function<void(std::string_view)> const& take) const;

    /** @return the whole file */
    std::string content() const;

private:
    std::string m_path;
    FileDescriptor m_file;
    struct stat m_status = {};
};

/** An open directory, wherever its name leads meanwhile. Copies share the descriptor. */
class Directory
{
public:
    /** Names no directory: a place for one that is opened later. */
    Directory() = default;

    /** Opens a directory that the caller named, through symbolic links if need be. */
    explicit Directory(std::string path);

    /** Has the files of this directory and of those opened from it written in `place`. */
    void useWorkplace(Directory const& place) { m_workplace = std::make_shared<Directory const>(place); }

    /** @return the directory's path, or that of an entry, for messages */
    std::string path(std::string const& name = {}) const;

    /** @return the names in the directory, sorted, without "." and ".." */
    std::vector<std::string> names() const;

    /** @return whether something, even a dangling symbolic link, has this name */
    bool has(std::string const& name) const { return status(name).st_mode != 0; }

    /** @return whether a directory, and no link to one, has this name */
    bool hasDirectory(std::string const& name) const { return S_ISDIR(status(name).st_mode); }

    /** @return whether the other directory has this name here now */
    bool holds(std::string const& name, Directory const& other) const;

    /** @return the text of a symbolic link; empty for anything else */
    std::string linkText(std::string const& name) const;

    /** @throws RigError unless this process may make and remove entries */
    void requireWritable() const;

    Directory open(std::string const& name) const;

    /** Opens a directory that is made unless it exists. */
    Directory make(std::string const& name) const;

    /** Opens a regular file; `flags` are those of open(2), with O_CREAT it is made. */
    FileDescriptor openFile(std::string const& name, int flags) const;

    InputFile read(std::string const& name, std::uint64_t maximum = kUnlimited) const
    {
        return {openFile(name, O_RDONLY), path(name), maximum};
    }

    /** Writes a new file of a tree that is not in its place yet, and so needs no care for half-written ones.
     */
    void create(std::string const& name, std::string_view content) const;

    /** Writes a file, which takes its place whole or not at all. */
    void store(std::string const& name, std::string_view content) const;

    void makeLink(std::string const& name, std::string const& text) const;

    void rename(std::string const& name, Directory const& target, std::string const& newName) const;

    void remove(std::string const& name) const;

    /** Removes a directory, if it is empty. */
    void removeEmpty(std::string const& name) const { ::unlinkat(m_file.get(), name.c_str(), AT_REMOVEDIR); }

    /** Removes a file or a whole directory. */
    void removeTree(std::string const& name) const;

private:
    friend class OutputFile;

    struct stat status(std::string const& name) const;
    mode_t modeOf(mode_t wanted) const;
    void sync() const;
    /** @return what a call about an entry gave. @throws RigError for -1 */
    int checked(int result, char const* action, std::string const& name) const;

    std::string m_path;
    FileDescriptor m_file;
    std::shared_ptr<Directory const> m_workplace;
};

/**
 * A file being written. It appears under its name only with commit(), complete and durable; until then, and
 * when the object goes without a commit, the old file (or none) stays. The new file has the old one's
 * permissions, never more.
 */
class OutputFile
{
public:
    /**
     * A file of the caller's. Regular and absent files are replaced as a whole, at the end of a symbolic link
     * if need be; anything else (a terminal, a pipe) is written directly.
     */
    static OutputFile outside(std::string const& path);

    /** A file in a directory. @throws RigError when something that is no regular file has its name */
    OutputFile(Directory directory, std::string name);

    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    ~OutputFile();

    void write(std::string_view bytes) { m_file.write(bytes, m_path); }
    void commit();

private:
    OutputFile(std::string path, FileDescriptor file);
    void openTemporary(mode_t mode);
    void takeOver(struct stat const& old);

    std::string m_path;
    Directory m_directory;
    std::string m_name;
    Directory m_place;       ///< where the temporary lies
    std::string m_temporary; ///< empty: the file is written directly
    FileDescriptor m_file;
};

} // namespace VrelRig
