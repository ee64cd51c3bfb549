#pragma once

#include "external/PortNumber.h"

#include <cstdint>

/** Which devices the library serves. */
namespace VrelClaimRule {

constexpr std::uint16_t kVendorId = 0x2C4E;
/** All that lists or matches product IDs goes by this table. */
constexpr std::uint16_t kProductIds[] = {0x3D40, 0x3D42, 0x3D44, 0x3D46, 0x3D48};

/** Whether these are the port and the USB IDs of a device in RuX recovery mode. */
bool isRecoveryDevice(PortNumber const& port, std::uint16_t vendorId, std::uint16_t productId);

} // namespace VrelClaimRule
