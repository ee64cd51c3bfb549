#pragma once

#include "emulator/OperationLog.h"
#include "emulator/RigDevice.h"
#include "emulator/StorageKind.h"

#include "external/IVrelAPI.h"

namespace VrelRig {

/** One storage device of an emulated device: its partitions, RPMB and partition configuration. */
class StorageDevice
{
public:
    /** @throws RigError when the device has no such storage */
    StorageDevice(RigDevice const& device, std::uint8_t deviceType, std::uint8_t index);

    StorageKind kind() const { return m_traits.kind; }

    /** @return the path of a file of the storage device */
    std::string file(std::string const& name) const { return m_directory + '/' + name; }

    /** Writes the region, in blocks of 512 bytes, to a file; it has to lie within its partition. */
    void readPartition(VrelReadRegion const& region, char const* targetPath, OperationLog const& log) const;

    /** Fills the RPMB with zeros, keeping its size. */
    void clearRpmb(OperationLog const& log) const;

    /** Stores a partition configuration. @throws RigError for a malformed one, and when it cannot be changed
     */
    void configurePartitions(char const* configPath, OperationLog const& log) const;

private:
    RigDevice const& m_device;
    StorageTraits const& m_traits;
    std::string m_name; ///< as it appears in messages
    std::string m_directory;
};

} // namespace VrelRig
