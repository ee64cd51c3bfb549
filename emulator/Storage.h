#pragma once

#include "emulator/Operation.h"

#include <cstdint>
#include <string>

namespace VrelRig {

/** What the emulator knows about one kind of storage device. */
struct StorageKind
{
    char const* name;        ///< prefix of the storage device's directory
    char const* title;       ///< as it appears in messages
    std::uint8_t deviceType; ///< as the API has it
    bool isManaged;          ///< has an RPMB and takes a partition configuration
    bool isReconfigurable;   ///< takes it more than once
};

/** One storage device of an emulated device: its partitions, RPMB and partition configuration. */
class StorageDevice
{
public:
    /** @throws RigError when the device has no such storage */
    StorageDevice(Operation const& operation, std::uint8_t deviceType, std::uint8_t index);

    /**
     * @return the bytes of the card-information buffer: 548 for an eMMC, 272 for a UFS with attributes, 212
     * for one without, none for SPI flash
     * @throws RigError naming the register file that is missing or malformed
     */
    std::string cardInfo() const;

    /** Fills a buffer of `size` bytes and sets `size` to the bytes filled. @throws RigError when it is too
     * small */
    void copyCardInfo(VrelCardInfo& buffer, std::uint32_t& size) const;

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
