#pragma once

#include "emulator/Operation.h"

#include <cstdint>

/** The token slots of a device, 0 to 15. An empty file is an empty slot. */
namespace VrelRig::TokenSlots {

/** Stores the file's bytes, 1 byte to 1 MiB, in place of what the slot held. */
void write(Operation const& operation, std::uint8_t slot, char const* tokenPath);

/** Writes the slot's bytes to a file. @throws RigError for an empty slot, as erase() does */
void read(Operation const& operation, std::uint8_t slot, char const* targetPath);

void erase(Operation const& operation, std::uint8_t slot);

} // namespace VrelRig::TokenSlots
