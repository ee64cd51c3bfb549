#pragma once

#include "emulator/FileDescriptor.h"

#include <chrono>
#include <string>
#include <sys/types.h>

namespace VrelRig {

/**
 * An exclusive lock on a file or directory, held by this process until the object goes or the process ends.
 * A child made by fork neither has the lock nor gives it back, though it inherits the descriptor.
 */
class LockFile
{
public:
    enum class Kind
    {
        file,     ///< made when it does not exist
        directory ///< has to exist
    };

    /**
     * Takes the lock, waiting for it if need be.
     * @throws RigError when it is held elsewhere for longer than `patience`, or the file cannot be opened
     */
    LockFile(std::string const& path, Kind kind, std::chrono::milliseconds patience = {});
    ~LockFile();
    LockFile(LockFile const&) = delete;
    LockFile& operator=(LockFile const&) = delete;

private:
    FileDescriptor m_file;
    pid_t m_owner;
};

} // namespace VrelRig
