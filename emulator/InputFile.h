#pragma once

#include "emulator/FileDescriptor.h"

#include <cstdint>
#include <string>

namespace VrelRig {

/** A regular file opened for reading. */
class InputFile
{
public:
    /** Opens the file. @throws RigError naming the path and the reason, also for anything but a regular file
     */
    explicit InputFile(std::string path);

    std::string const& path() const { return m_path; }
    std::uint64_t size() const { return m_size; }

    /** Reads up to `length` bytes from `offset`. @return the bytes read, 0 only at the end of the file */
    std::size_t read(std::uint64_t offset, char* buffer, std::size_t length) const;

private:
    std::string m_path;
    FileDescriptor m_file;
    std::uint64_t m_size = 0;
};

/** Size and SHA-256 (lower-case hexadecimal) of a file. */
struct FileDigest
{
    std::uint64_t size = 0;
    std::string sha256;
};

FileDigest digestOf(InputFile const& file);

/** @return the whole file. @throws RigError also when it holds more than `maximum` bytes */
std::string readFile(InputFile const& file, std::uint64_t maximum);

} // namespace VrelRig
