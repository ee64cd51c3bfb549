#pragma once

#include "emulator/Storage.h"

#include <string>

namespace VrelRig {

/** A register or descriptor of a storage device, kept as a file of hexadecimal text. */
struct RegisterFile
{
    std::string_view kind;
    char const* name;
    std::size_t size;             ///< in bytes
    std::size_t numberOffset = 0; ///< of a big-endian number, which the card information holds little-endian
    std::size_t numberSize = 0;
    bool isOptional = false;
};

/** In the order of the card information. */
constexpr RegisterFile kRegisterFiles[] = {
    {"emmc", "ocr.hex", 4, 0, 4},      {"emmc", "cid.hex", 16, 10, 4}, // its serial number
    {"emmc", "csd.hex", 16},           {"emmc", "ext_csd.hex", 512},
    {"ufs", "configuration.hex", 144}, {"ufs", "attributes.hex", 60, 0, 0, true},
    {"ufs", "geometry.hex", 68},
};

/**
 * @return the bytes of the card-information buffer: 548 for an eMMC, 272 for a UFS with attributes, 212 for
 * one without, none for SPI flash
 * @throws RigError naming the register file that is missing or malformed
 */
std::string readCardInfo(StorageDevice const& storage);

/** Fills a buffer of `size` bytes and sets `size` to the bytes filled. @throws RigError when it is too small
 */
void copyCardInfo(std::string const& bytes, VrelCardInfo& buffer, std::uint32_t& size);

} // namespace VrelRig
