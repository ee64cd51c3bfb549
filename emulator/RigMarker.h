#pragma once

#include "emulator/Files.h"

#include <string>
#include <sys/types.h>

namespace VrelRig {

/**
 * The file that makes a directory a rig. It holds the rig's own ID, which nobody else's files are named by;
 * its lock is the hold on the rig.
 */
class RigMarker
{
public:
    enum class IfEmpty
    {
        make,
        leave
    };

    /**
     * Opens the marker of a rig. In an empty directory it is made, or left unopened.
     * @throws RigError when the directory is neither empty nor a rig
     */
    RigMarker(Directory root, IfEmpty ifEmpty);

    /** Unlocks the rig. A child made by fork does not, though it inherits the descriptor. */
    ~RigMarker();
    RigMarker(RigMarker const&) = delete;
    RigMarker& operator=(RigMarker const&) = delete;

    /** Locks the rig for this process until the object goes or the process ends. @return whether it was free
     */
    bool lock();

    /** @return whether another process has the lock */
    bool isHeld() const;

    /** @return whether the marker is still there, and was not removed by a maker that failed */
    bool isLinked() const;

    /** @return the rig's ID; empty when nothing else of it has been made. @throws RigError for a foreign file
     */
    std::string id() const;

    /** Gives the rig an ID. */
    void makeId();

    /** Removes the marker when there is nothing else in the directory. */
    void removeIfAlone();

private:
    Directory m_root;
    FileDescriptor m_file;
    pid_t m_owner;
};

} // namespace VrelRig
