#include "emulator/CardInfo.h"

#include "emulator/Text.h"

#include <algorithm>

namespace VrelRig {

namespace {

std::string readRegister(Directory const& directory, RegisterFile const& source)
{
    constexpr std::uint64_t kMaximumHexSize = 64 * 1024;
    auto const file = directory.read(source.name);
    auto bytes = parseHex(file.content(kMaximumHexSize));
    if (!bytes || bytes->size() != source.size)
        throw RigError(inQuotes(file.path()) + ": expected " + std::to_string(source.size) +
                       " bytes in hexadecimal, found " +
                       (bytes ? std::to_string(bytes->size()) : "other text"));
    auto const number = bytes->begin() + static_cast<std::ptrdiff_t>(source.numberOffset);
    std::reverse(number, number + static_cast<std::ptrdiff_t>(source.numberSize));
    return *bytes;
}

} // namespace

std::string readCardInfo(StorageDevice const& storage)
{
    std::string bytes;
    for (auto const& source : kRegisterFiles) {
        if (source.kind == storage.kind().name &&
            (!source.isOptional || storage.directory().has(source.name)))
            bytes += readRegister(storage.directory(), source);
    }
    return bytes;
}

void copyCardInfo(std::string const& bytes, VrelCardInfo& buffer, std::uint32_t& size)
{
    auto const capacity = std::min<std::size_t>(size, sizeof(buffer.bytes));
    if (bytes.size() > capacity)
        throw RigError("The card information takes " + std::to_string(bytes.size()) +
                       " bytes, the buffer holds " + std::to_string(capacity));
    std::copy(bytes.begin(), bytes.end(), buffer.bytes);
    size = static_cast<std::uint32_t>(bytes.size());
}

} // namespace VrelRig
