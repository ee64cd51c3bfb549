#include "emulator/CardInfo.h"

#include "emulator/FileSystem.h"
#include "emulator/HexText.h"
#include "emulator/InputFile.h"
#include "emulator/RigError.h"

#include <algorithm>

namespace VrelRig {

namespace {

constexpr std::uint64_t kMaximumFileSize = 64 * 1024;

std::string readRegister(StorageDevice const& storage, RegisterFile const& source)
{
    auto const path = storage.file(source.name);
    auto const bytes = parseHex(readFile(InputFile(path), kMaximumFileSize));
    auto const expected = ": expected " + std::to_string(source.size) + " bytes in hexadecimal, found ";
    if (!bytes)
        throw RigError(quoted(path) + expected + "other text");
    if (bytes->size() != source.size)
        throw RigError(quoted(path) + expected + std::to_string(bytes->size()));
    return *bytes;
}

/** The buffer's numbers are little-endian, those of the registers are not. */
void reverseNumber(std::string& bytes, std::size_t offset, std::size_t size)
{
    auto const first = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    std::reverse(first, first + static_cast<std::ptrdiff_t>(size));
}

std::string emmcInfo(StorageDevice const& storage)
{
    constexpr std::size_t kSerialNumberOffset = 10; // PSN within the CID
    auto ocr = readRegister(storage, kOcr);
    reverseNumber(ocr, 0, ocr.size());
    auto cid = readRegister(storage, kCid);
    reverseNumber(cid, kSerialNumberOffset, sizeof(std::uint32_t));
    return ocr + cid + readRegister(storage, kCsd) + readRegister(storage, kExtCsd);
}

std::string ufsInfo(StorageDevice const& storage)
{
    bool const hasAttributes = exists(storage.file(kAttributes.name));
    return readRegister(storage, kConfiguration) +
           (hasAttributes ? readRegister(storage, kAttributes) : std::string()) +
           readRegister(storage, kGeometry);
}

} // namespace

std::string readCardInfo(StorageDevice const& storage)
{
    switch (storage.kind()) {
    case StorageKind::emmc:
        return emmcInfo(storage);
    case StorageKind::ufs:
        return ufsInfo(storage);
    case StorageKind::spi:
        break;
    }
    return {};
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
