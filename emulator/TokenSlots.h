#pragma once

#include "emulator/InputFile.h"
#include "emulator/OperationLog.h"
#include "emulator/RigDevice.h"

#include <cstdint>

namespace VrelRig {

/** The token slots of a device, 0 to 15. An empty file is an empty slot. */
class TokenSlots
{
public:
    explicit TokenSlots(RigDevice const& device)
        : m_device(device)
    {
    }

    /** Stores the file's bytes, 1 byte to 1 MiB, in place of what the slot held. */
    void write(std::uint8_t slot, char const* tokenPath, OperationLog const& log) const;

    /** Writes the slot's bytes to a file. @throws RigError for an empty slot, as erase() does */
    void read(std::uint8_t slot, char const* targetPath, OperationLog const& log) const;

    void erase(std::uint8_t slot, OperationLog const& log) const;

private:
    std::string slotFile(std::uint8_t slot) const;
    InputFile openSlot(std::uint8_t slot) const;

    RigDevice const& m_device;
};

} // namespace VrelRig
