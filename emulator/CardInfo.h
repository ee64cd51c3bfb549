#pragma once

#include "emulator/StorageDevice.h"

#include <string>

namespace VrelRig {

/** A register or descriptor of a storage device, kept as a file of hexadecimal text. */
struct RegisterFile
{
    char const* name;
    std::size_t size; ///< in bytes
};

constexpr RegisterFile kOcr = {"ocr.hex", 4};          ///< most significant byte first
constexpr RegisterFile kCid = {"cid.hex", 16};         ///< most significant byte first
constexpr RegisterFile kCsd = {"csd.hex", 16};         ///< most significant byte first
constexpr RegisterFile kExtCsd = {"ext_csd.hex", 512}; ///< byte 0 first
constexpr RegisterFile kConfiguration = {"configuration.hex", 144};
constexpr RegisterFile kAttributes = {"attributes.hex", 60}; ///< optional
constexpr RegisterFile kGeometry = {"geometry.hex", 68};

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
