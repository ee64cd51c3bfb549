#pragma once

#include "emulator/Files.h"
#include "emulator/NewRig.h"

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

/**
 * A directory is a rig by its marker, a file whose lock is the hold on the rig. The lock belongs to the open
 * file: threads share it, a child made by fork neither has it nor ends it.
 */
namespace VrelRig {

/** A rig of emulated devices, locked for this process. Operations on different devices may use it at once. */
class Rig
{
public:
    /**
     * Takes the rig in a directory and removes what an interrupted writer left. When the directory is new or
     * empty, a rig with these devices is made, whole or not at all; safe against others doing the same.
     * @throws RigError when another process has it, and when it can be neither opened nor made
     */
    Rig(std::string const& path, std::vector<DeviceDescription> const& newDevices);

    ~Rig();

    /** @return whether the rig was made */
    bool isNew() const { return m_isNew; }

    /** @return the directory of the devices, one directory each */
    Directory devices() const;

    /**
     * @return the rig's own spelling of a serial number given from outside; the only device's for an empty
     * text
     * @throws RigError for an unknown serial, and for an empty one unless there is exactly one device
     */
    std::string select(std::string const& serial) const;

    /** Has a device for an operation alone, until what is returned goes. @throws RigError when it is busy */
    std::shared_ptr<void> claim(std::string const& serial);

private:
    void removeLeftovers() const;
    void complete(std::vector<DeviceDescription> const& newDevices);

    Directory m_root;
    FileDescriptor m_marker;
    Directory m_workplaces; ///< of this rig and of whatever others there are
    std::string m_workplace;
    bool m_isNew = false;
    pid_t m_owner;
    std::mutex m_mutex;
    std::set<std::string> m_busy;
};

// What a person does with a rig from outside. What cannot be done gives a RigError that tells why.

/** Makes a rig with these devices in a directory that is new or empty. */
void createRig(std::string const& path, std::vector<DeviceDescription> const& devices);

/** Changes nothing. @return a sentence that tells that the rig could be taken or made */
std::string checkRig(std::string const& path);

/** Moves a device's directory back to the plugged ones, in one step; also while a process holds the rig. */
void plugDevice(std::string const& path, std::string const& serial);

/** Moves it aside. */
void unplugDevice(std::string const& path, std::string const& serial);

// The process's hold on the rig, shared and counted. Safe for any thread.

/**
 * Takes one hold. The first one opens the rig, making it when there is none.
 * @throws RigError when another process has the rig, or it can be neither opened nor made
 */
void takeRig();

/** Gives one hold back; the last one gives the rig back. Without a hold nothing happens. */
void giveRigBack();

/** @return the held rig, which stays locked as long as it is in use. @throws RigError without a hold */
std::shared_ptr<Rig> heldRig();

/** @return the directory of the rig that the environment names, VREL_RIG or the user's state directory */
std::string configuredRoot();

} // namespace VrelRig
