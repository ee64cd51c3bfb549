#pragma once

#include "external/PortNumber.h"

#include <cstdint>

/** Which devices the library serves. */
namespace VrelClaimRule {

constexpr std::uint16_t kVendorId = 0x2C4E;
/** All that lists or matches product IDs goes by this table, whose first is the lowest. */
constexpr std::uint16_t kProductIds[] = {0x3D40, 0x3D42, 0x3D44, 0x3D46, 0x3D48};

/** A bit for each product ID, counted from the first. */
constexpr std::uint32_t productBits()
{
    std::uint32_t bits = 0;
    for (std::uint16_t const id : kProductIds)
        bits |=
            std::uint32_t{1} << static_cast<unsigned int>(id - kProductIds[0]); // too far: does not compile
    return bits;
}

/**
 * Whether these are the port and the USB IDs of a device in RuX recovery mode. Asked of every record of a
 * scan, so that it is inline and reads nothing but the IDs of most.
 */
inline bool isRecoveryDevice(PortNumber const& port, std::uint16_t vendorId, std::uint16_t productId)
{
    constexpr std::uint32_t kBits = productBits();
    unsigned int const place = static_cast<unsigned int>(productId) - kProductIds[0];
    return vendorId == kVendorId && place < 32 && (kBits >> place & 1U) != 0 &&
           port.getConnectionType() == PortNumber::UsbConnection;
}

} // namespace VrelClaimRule
