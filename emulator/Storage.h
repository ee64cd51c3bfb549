#pragma once

#include "emulator/Files.h"

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

/** One storage device of an emulated device: its partitions, RPMB, registers and partition configuration. */
struct StorageDevice
{
    /** @throws RigError when the device has no such storage */
    StorageDevice(Directory const& device, std::uint8_t deviceType, std::uint8_t index);

    /**
     * @return the bytes of the card-information buffer: 548 for an eMMC, 272 for a UFS with attributes, 212
     * for one without, none for SPI flash
     * @throws RigError naming the register file that is missing or malformed
     */
    std::string cardInfo() const;

    StorageKind const& kind;
    std::string title; ///< as it appears in messages
    Directory directory;
};

/**
 * Checks a partition configuration: an element `partitions` that holds elements `partition`, each with a
 * `name` of its own and a `size` in bytes. @return the number of partitions
 * @throws RigError naming `path`, line and column of what is wrong
 */
std::size_t checkPartitionConfig(std::string const& xml, std::string const& path);

} // namespace VrelRig
