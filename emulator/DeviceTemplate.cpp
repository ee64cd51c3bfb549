#include "emulator/DeviceTemplate.h"

#include "emulator/FileSystem.h"
#include "emulator/HexText.h"
#include "emulator/JsonFile.h"
#include "emulator/LifecycleStage.h"
#include "emulator/NewFile.h"
#include "emulator/NumberText.h"
#include "emulator/RegisterTemplates.h"
#include "emulator/RigLayout.h"

#include <QCryptographicHash>

namespace VrelRig {

namespace {

/** Sizes of the images of a new storage device, in KiB. */
struct StorageImages
{
    StorageKind kind;
    std::vector<unsigned> partitions;
    unsigned rpmb;
};

StorageImages imagesOf(StorageKind kind)
{
    switch (kind) {
    case StorageKind::emmc: // user area and two boot areas
    case StorageKind::ufs:  // one logical unit for data and two for booting
        return {kind, {512, 128, 128}, 128};
    case StorageKind::spi:
        break;
    }
    return {kind, {256}, 0};
}

/** Bytes that look random but are the same for every device of this serial number. */
std::string derivedBytes(std::string const& serial, std::string const& purpose, std::size_t length)
{
    auto const seed = QByteArray::fromStdString(purpose + ' ' + serial);
    return QCryptographicHash::hash(seed, QCryptographicHash::Sha256).toStdString().substr(0, length);
}

std::uint32_t derivedNumber(std::string const& serial, std::string const& purpose)
{
    std::uint32_t number = 0;
    for (char const byte : derivedBytes(serial, purpose, sizeof(number)))
        number = number << 8U | static_cast<unsigned char>(byte);
    return number;
}

std::string description(DeviceDescription const& device)
{
    auto const number = [](std::uint32_t value, int digits = 8) {
        return jsonValue(hexNumber(value, digits));
    };
    auto const derived = [&](char const* purpose, std::size_t length) {
        return jsonValue(formatHex(derivedBytes(device.serial, purpose, length)));
    };
    return jsonText({{"path", jsonValue(device.path)},
                     {"vendor", number(kVendor, 4)},
                     {"product", number(device.product, 4)},
                     {"oemId", number(0x1234, 4)},
                     {"uniqueId", derived("unique ID", 16)},
                     {"responseFlags", number(0)},
                     {"responseHeader", jsonValue(formatHex(std::string(4, '\0')))},
                     {"imageErrors", jsonValue(formatHex(std::string(12, '\0')))},
                     {"operation", number(1)},
                     {"operationContext", number(0)},
                     {"partId", derived("part ID", 12)},
                     {"nonce", number(derivedNumber(device.serial, "nonce"))},
                     {"trustedTime", number(0x60000000)},
                     {"deviceId", number(derivedNumber(device.serial, "device ID"))}});
}

/** Blocks of 512 bytes, each of which begins with a line of text that says which one it is. */
std::string recognisableImage(std::string const& label, unsigned kibibytes)
{
    constexpr std::size_t kBlockSize = 512;
    std::string image;
    for (std::size_t block = 0; block < kibibytes * 1024U / kBlockSize; ++block) {
        image += label + " block " + std::to_string(block) + '\n';
        image.resize((block + 1) * kBlockSize - 1, '.');
        image += '\n';
    }
    return image;
}

void makeStorage(std::string const& device, std::string const& serial, StorageDescription const& storage)
{
    auto const name = std::string(traitsOf(storage.kind).name) + '-' + std::to_string(storage.index);
    auto const directory = device + "/storage/" + name + '/';
    auto const label = serial + ' ' + name + ' ';
    makeDirectories(directory);
    for (auto const& content : registerTemplates(storage.kind, derivedNumber(serial, name)))
        writeNewFile(directory + content.file.name, formatHexLines(content.bytes));
    auto const images = imagesOf(storage.kind);
    for (std::size_t i = 0; i < images.partitions.size(); ++i) {
        auto const partition = "partition-" + std::to_string(i);
        writeNewFile(directory + partition + ".img",
                     recognisableImage(label + partition, images.partitions[i]));
    }
    if (images.rpmb > 0)
        writeNewFile(directory + "rpmb.img", recognisableImage(label + "rpmb", images.rpmb));
}

} // namespace

void makeDevice(std::string const& directory, DeviceDescription const& device)
{
    for (auto const* const name : {"/tokens", "/firmware", "/provisioning", "/storage"})
        makeDirectories(directory + name);
    writeNewFile(directory + '/' + RigLayout::kDescription, description(device));
    writeNewFile(directory + '/' + RigLayout::kLifecycle, initialLifecycle());
    for (auto const& storage : device.storages)
        makeStorage(directory, device.serial, storage);
}

} // namespace VrelRig
