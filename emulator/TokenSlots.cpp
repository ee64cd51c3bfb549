#include "emulator/TokenSlots.h"

#include "emulator/CallerArgument.h"
#include "emulator/FileCopy.h"
#include "emulator/FileSystem.h"

namespace VrelRig {

namespace {

constexpr unsigned kSlotCount = 16;
constexpr std::uint64_t kMaximumSize = 1024 * 1024;

std::string sizeText(std::uint64_t size)
{
    return std::to_string(size) + " bytes";
}

} // namespace

void TokenSlots::write(std::uint8_t slot, char const* tokenPath, OperationLog const& log) const
{
    auto const file = slotFile(slot);
    auto const token = readCallerFile(tokenPath, "token file", kMaximumSize);
    if (exists(file) && InputFile(file).size() > 0)
        log.warning("Token slot " + std::to_string(slot) + " is overwritten");
    m_device.rig().store(file, token);
    log.info("Token slot " + std::to_string(slot) + ": wrote " + sizeText(token.size()));
}

void TokenSlots::read(std::uint8_t slot, char const* targetPath, OperationLog const& log) const
{
    auto const target = requiredText(targetPath, "target file");
    auto const token = openSlot(slot);
    auto output = OutputFile::outside(target);
    copyBytes(token, 0, token.size(), output);
    output.commit();
    log.info("Token slot " + std::to_string(slot) + ": read " + sizeText(token.size()));
}

void TokenSlots::erase(std::uint8_t slot, OperationLog const& log) const
{
    auto const file = openSlot(slot).path();
    removeTree(file);
    syncDirectory(parentOf(file));
    log.info("Token slot " + std::to_string(slot) + ": erased");
}

std::string TokenSlots::slotFile(std::uint8_t slot) const
{
    if (slot >= kSlotCount)
        throw RigError("There is no token slot " + std::to_string(slot) + ": slots are 0 to " +
                       std::to_string(kSlotCount - 1));
    return m_device.file("tokens/slot-" + std::to_string(slot) + ".bin");
}

InputFile TokenSlots::openSlot(std::uint8_t slot) const
{
    auto const file = slotFile(slot);
    if (exists(file)) {
        InputFile token(file);
        if (token.size() > 0)
            return token;
    }
    throw RigError("Token slot " + std::to_string(slot) + " is empty");
}

} // namespace VrelRig
