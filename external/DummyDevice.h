#pragma once

#include "external/PortNumber.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <map>

/**
 * The scanner's record of one device that it found. Filters take over the devices that they serve.
 *
 * The order of the fields is frozen. Offsets in bytes, by the width of a pointer:
 *
 * | field         | 32 bits | 64 bits |
 * |---------------|---------|---------|
 * | kind          | 0       | 0       |
 * | hostData      | 4       | 4       |
 * | port          | 8       | 8       |
 * | mode          | 56      | 64      |
 * | serialText    | 60      | 72      |
 * | manufacturer  | 64      | 80      |
 * | productName   | 68      | 88      |
 * | vendorId      | 72      | 96      |
 * | productId     | 74      | 98      |
 * | isClaimed     | 76      | 100     |
 * | properties    | 80      | 104     |
 * | size          | 104     | 152     |
 */
struct DummyDevice
{
    std::int32_t kind = 0;                 ///< what Device::getKind returns; 1: claimed by a filter
    std::uint32_t hostData = 0;            ///< the host's own; filters leave it alone
    PortNumber port;                       ///< where the device was found
    std::int32_t mode = 0;                 ///< 1: the device waits for recovery
    QString serialText;                    ///< from the device's descriptor
    QString manufacturer;                  ///< from the device's descriptor
    QString productName;                   ///< from the device's descriptor
    std::uint16_t vendorId = 0;            ///< USB vendor ID
    std::uint16_t productId = 0;           ///< USB product ID
    std::uint8_t isClaimed : 1;            ///< set when a filter has claimed the device
    std::map<QString, QString> properties; ///< by name, for example "usb.devicePath"

    DummyDevice()
        : isClaimed(0)
    {
    }
};

// The map makes the record a type for which offsetof is optional; GCC and Clang have it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
namespace DummyDeviceLayout {
constexpr bool isAt(std::size_t offset, std::size_t with32Bits, std::size_t with64Bits)
{
    return offset == (sizeof(void*) == 4 ? with32Bits : with64Bits);
}
static_assert(isAt(offsetof(DummyDevice, kind), 0, 0));
static_assert(isAt(offsetof(DummyDevice, hostData), 4, 4));
static_assert(isAt(offsetof(DummyDevice, port), 8, 8));
static_assert(isAt(offsetof(DummyDevice, mode), 56, 64));
static_assert(isAt(offsetof(DummyDevice, serialText), 60, 72));
static_assert(isAt(offsetof(DummyDevice, manufacturer), 64, 80));
static_assert(isAt(offsetof(DummyDevice, productName), 68, 88));
static_assert(isAt(offsetof(DummyDevice, vendorId), 72, 96));
static_assert(isAt(offsetof(DummyDevice, productId), 74, 98));
static_assert(isAt(offsetof(DummyDevice, properties), 80, 104));
static_assert(isAt(sizeof(DummyDevice), 104, 152));
} // namespace DummyDeviceLayout
#pragma GCC diagnostic pop
