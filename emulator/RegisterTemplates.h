#pragma once

#include "emulator/CardInfo.h"
#include "emulator/StorageKind.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VrelRig {

/** A register file and the bytes it gets in a new rig. */
struct RegisterContent
{
    RegisterFile file;
    std::string bytes;
};

/**
 * @return made-up registers of a 32 GB eMMC 5.1 or a 64 GB UFS 2.1, none for SPI flash. The sizes of boot
 * areas and RPMB agree with the images of a new rig, the user area's with a real card.
 */
std::vector<RegisterContent> registerTemplates(StorageKind kind, std::uint32_t cardSerial);

} // namespace VrelRig
