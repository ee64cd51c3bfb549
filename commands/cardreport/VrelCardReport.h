#pragma once

#include "commands/support/VrelDeviceType.h"

#include <QString>

#include <cstdint>

namespace VrelUtilsCommand {

/** Size in bytes of a buffer with the registers or descriptors of one storage device. */
constexpr unsigned int kCardInfoSize = 828;

/**
 * Text of several lines with what the registers (eMMC) or descriptors (UFS) of a storage device say; empty
 * for other types.
 * @param size bytes of `info` that were filled; tells the two layouts of UFS apart, and nothing else
 */
QString cardReport(DeviceType type, unsigned char const (&info)[kCardInfoSize], std::uint32_t size);

/** The report of an eMMC device's OCR, CID, CSD and EXT_CSD registers (JEDEC eMMC standard). */
QString emmcReport(unsigned char const (&info)[kCardInfoSize]);

/**
 * The report of a UFS device's configuration descriptor, attributes and geometry descriptor (JEDEC UFS
 * standard). Only a buffer filled to 272 bytes holds attributes.
 */
QString ufsReport(unsigned char const (&info)[kCardInfoSize], std::uint32_t size);

} // namespace VrelUtilsCommand
