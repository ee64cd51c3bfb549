#pragma once

#include "emulator/StorageKind.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VrelRig {

constexpr std::uint16_t kVendor = 0x2C4E; ///< USB vendor ID of every emulated device

/** A storage device of a device to be made. */
struct StorageDescription
{
    StorageKind kind;
    std::uint8_t index;
};

/** A device to be made. */
struct DeviceDescription
{
    std::string serial; ///< 1 to 127 bytes, also the name of a directory
    std::string path;   ///< USB path, "1-4.2"
    std::uint16_t product;
    std::vector<StorageDescription> storages;
};

/** What a new rig holds. The same descriptions always give the same rig. */
class RigTemplate
{
public:
    /** @throws RigError for serials or paths that are malformed or occur twice */
    explicit RigTemplate(std::vector<DeviceDescription> devices);

    /** @return the rig with two devices that is made when there is none */
    static RigTemplate standard();

    /**
     * Makes the rig in `root`, whole or not at all, unless there is something in that directory already; safe
     * against other processes doing the same. @return `root` without symbolic links
     */
    std::string makeIfAbsent(std::string const& root) const;

    /** The same, but a directory that there is something in is refused. @throws RigError for that too */
    void make(std::string const& root) const;

private:
    /** @return whether the rig was made, and not left as `target` has content */
    bool makeUnlessOccupied(std::string const& target) const;

    std::vector<DeviceDescription> m_devices;
};

} // namespace VrelRig
