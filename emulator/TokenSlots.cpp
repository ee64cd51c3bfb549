#include "emulator/TokenSlots.h"

namespace VrelRig::TokenSlots {

namespace {

std::string titleOf(std::uint8_t slot)
{
    return "Token slot " + std::to_string(slot);
}

std::string fileOf(std::uint8_t slot)
{
    constexpr unsigned kSlotCount = 16;
    if (slot < kSlotCount)
        return "slot-" + std::to_string(slot) + ".bin";
    throw RigError("There is no token slot " + std::to_string(slot) + ": slots are 0 to " +
                   std::to_string(kSlotCount - 1));
}

/** @return the slot's file, nothing for an empty slot */
std::optional<InputFile> tokenIn(Directory const& slots, std::string const& file)
{
    auto token = slots.has(file) ? std::make_optional(slots.read(file)) : std::nullopt;
    return token && token->size() > 0 ? token : std::nullopt;
}

} // namespace

void write(Operation const& operation, std::uint8_t slot, char const* tokenPath)
{
    constexpr std::uint64_t kMaximumSize = 1024 * 1024;
    auto const file = fileOf(slot);
    auto const slots = operation.device.make("tokens");
    auto const token = openCallerFile(tokenPath, "token file", kMaximumSize).content(kMaximumSize);
    if (tokenIn(slots, file))
        operation.warning(titleOf(slot) + " is overwritten");
    slots.store(file, token);
    operation.info(titleOf(slot) + ": wrote " + std::to_string(token.size()) + " bytes");
}

void read(Operation const& operation, std::uint8_t slot, char const* targetPath)
{
    auto const target = requiredText(targetPath, "target file");
    auto const token = tokenIn(operation.device.make("tokens"), fileOf(slot));
    if (!token)
        throw RigError(titleOf(slot) + " is empty");
    copyToTarget(*token, 0, token->size(), target);
    operation.info(titleOf(slot) + ": read " + std::to_string(token->size()) + " bytes");
}

void erase(Operation const& operation, std::uint8_t slot)
{
    auto const file = fileOf(slot);
    auto const slots = operation.device.make("tokens");
    if (!tokenIn(slots, file))
        throw RigError(titleOf(slot) + " is empty");
    slots.remove(file);
    operation.info(titleOf(slot) + ": erased");
}

} // namespace VrelRig::TokenSlots
