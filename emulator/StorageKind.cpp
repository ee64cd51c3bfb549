#include "emulator/StorageKind.h"

#include "emulator/RigError.h"

namespace VrelRig {

namespace {

constexpr StorageTraits kTraits[] = {
    {StorageKind::spi, "spi", "SPI flash", false, false, false},
    {StorageKind::emmc, "emmc", "eMMC", true, true, false},
    {StorageKind::ufs, "ufs", "UFS", true, true, true},
};

struct DeviceType
{
    std::uint8_t code;
    StorageKind kind;
};

/** The host performance booster is a feature of a UFS, not a storage device of its own. */
constexpr DeviceType kDeviceTypes[] = {
    {1, StorageKind::spi},
    {2, StorageKind::emmc},
    {3, StorageKind::ufs},
    {16, StorageKind::ufs},
};

} // namespace

StorageTraits const& traitsOf(StorageKind kind)
{
    for (auto const& traits : kTraits) {
        if (traits.kind == kind)
            return traits;
    }
    throw RigError("Unknown kind of storage");
}

StorageKind storageKindOf(std::uint8_t deviceType)
{
    for (auto const& type : kDeviceTypes) {
        if (type.code == deviceType)
            return type.kind;
    }
    throw RigError("Unknown storage device type " + std::to_string(deviceType) +
                   ": 1 is SPI flash, 2 eMMC, 3 UFS, 16 UFS with host performance booster");
}

} // namespace VrelRig
