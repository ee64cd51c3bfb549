#pragma once

#include "emulator/Operation.h"

#include <cstdint>
#include <string>

namespace VrelRig {

/** What the emulator knows about one kind of storage device. */
struct StorageKind
{
    std::uint8_t deviceType; ///< as the API has it
    char const* name;        ///< prefix of the storage device's directory
    char const* title;       ///< as it appears in messages
    bool hasRpmb;
    bool isPartitionable;  ///< takes a partition configuration
    bool isReconfigurable; ///< takes it more than once
};

/** One storage device of an emulated device: its partitions, RPMB and partition configuration. */
class StorageDevice
{
public:
    /** @throws RigError when the device has no such storage */
    StorageDevice(Operation const& operation, std::uint8_t deviceType, std::uint8_t index);

    StorageKind const& kind() const { return m_kind; }
    Directory const& directory() const { return m_directory; }

    /** Writes the region, in blocks of 512 bytes, to a file; it has to lie within its partition. */
    void readPartition(VrelReadRegion const& region, char const* targetPath) const;

    /** Fills the RPMB with zeros, keeping its size. */
    void clearRpmb() const;

    /** Stores a partition configuration. @throws RigError for a malformed one, and when it cannot be changed
     */
    void configurePartitions(char const* configPath) const;

private:
    Operation const& m_operation;
    StorageKind const& m_kind;
    std::string m_title; ///< as it appears in messages
    Directory m_directory;
};

} // namespace VrelRig
