#pragma once

#include "emulator/FileDescriptor.h"

#include <string>
#include <string_view>

namespace VrelRig {

/**
 * A file being written. It appears under its name only with commit(), complete and durable; until then, and
 * when the object goes without a commit, the old file (or none) stays.
 */
class OutputFile
{
public:
    /** A file of the rig; its temporary lies in `temporaryDirectory`, on the same file system. */
    static OutputFile inRig(std::string const& path, std::string const& temporaryDirectory);

    /**
     * A file of the caller's. Regular and absent files are replaced as a whole, at the end of a symbolic link
     * if need be; anything else (a terminal, a pipe) is written directly.
     */
    static OutputFile outside(std::string const& path);

    OutputFile(OutputFile&& other) noexcept;
    OutputFile& operator=(OutputFile&&) = delete;
    ~OutputFile();

    void write(std::string_view bytes);
    void commit();

private:
    explicit OutputFile(std::string path);
    OutputFile(std::string path, std::string const& temporaryDirectory);
    void copyModeFrom(std::string const& path);

    std::string m_path;
    std::string m_temporary; ///< empty: the file is written directly
    FileDescriptor m_file;
};

} // namespace VrelRig
