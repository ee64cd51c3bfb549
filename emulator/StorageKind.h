#pragma once

#include <cstdint>

namespace VrelRig {

enum class StorageKind
{
    spi,
    emmc,
    ufs
};

/** What the emulator knows about one kind of storage device. */
struct StorageTraits
{
    StorageKind kind;
    char const* name;  ///< prefix of the storage device's directory
    char const* title; ///< as it appears in messages
    bool hasRpmb;
    bool isPartitionable;  ///< takes a partition configuration
    bool isReconfigurable; ///< takes it more than once
};

StorageTraits const& traitsOf(StorageKind kind);

/** @return the kind behind a device type code of the API. @throws RigError for an unknown code */
StorageKind storageKindOf(std::uint8_t deviceType);

} // namespace VrelRig
