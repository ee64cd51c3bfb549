#include "emulator/NewRig.h"

#include "emulator/Devices.h"
#include "emulator/Storage.h"
#include "emulator/Text.h"
#include "emulator/UsbTree.h"

#include <QCryptographicHash>
#include <QFile>

#include <map>
#include <set>

/** Has the linker take the files out of a static library; the macro does not work in a namespace. */
static void useNewRigFiles()
{
    Q_INIT_RESOURCE(newrig);
}

namespace VrelRig {

namespace {

/** An image of a new storage device. */
struct Image
{
    std::string_view kind;
    char const* name;
    std::size_t kibibytes;
};

constexpr Image kImages[] = {
    {"emmc", "partition-0", 512},                                                     // user area
    {"emmc", "partition-1", 128},                                                     // boot areas
    {"emmc", "partition-2", 128}, {"emmc", "rpmb", 128}, {"ufs", "partition-0", 512}, // logical unit for data
    {"ufs", "partition-1", 128}, // logical units for booting
    {"ufs", "partition-2", 128},  {"ufs", "rpmb", 128},  {"spi", "partition-0", 256},
};

/** Bytes that look random but are the same for every device of this serial number. */
std::string derivedBytes(std::string const& serial, std::string const& purpose, std::size_t length)
{
    auto const seed = QByteArray::fromStdString(purpose + ' ' + serial);
    return QCryptographicHash::hash(seed, QCryptographicHash::Sha256).toStdString().substr(0, length);
}

std::string description(DeviceDescription const& device)
{
    auto const derived = [&](char const* purpose, std::size_t length) {
        return formatHex(derivedBytes(device.serial, purpose, length));
    };
    auto const derivedNumber = [&](char const* purpose) {
        auto const bytes = derivedBytes(device.serial, purpose, sizeof(std::uint32_t));
        return QByteArray::fromStdString(bytes).toHex().toUpper().toStdString();
    };
    return newRigFile("device.json",
                      {derivedNumber("device ID"), derivedNumber("nonce"), derived("part ID", 12),
                       device.path, hexNumber(device.product, 4), derived("unique ID", 16)});
}

/** Blocks of 512 bytes, each of which begins with a line of text that says which one it is. */
std::string recognisableImage(std::string const& label, std::size_t kibibytes)
{
    constexpr std::size_t kBlockSize = 512;
    std::string image;
    for (std::size_t block = 0; block < kibibytes * 1024 / kBlockSize; ++block) {
        image += label + " block " + std::to_string(block) + '\n';
        image.resize((block + 1) * kBlockSize - 1, '.');
        image += '\n';
    }
    return image;
}

/** Checksum of a CID: polynomial x^7 + x^3 + 1; the byte holds it above a constant 1. */
char crc7(std::string_view bytes)
{
    unsigned crc = 0;
    for (char const byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80U) != 0 ? (crc << 1U) ^ 0x12U : crc << 1U;
    }
    return static_cast<char>((crc & 0xFFU) | 1U);
}

/** The CID of a storage device of its own, by the number in it. */
std::string cidText(RegisterFile const& file, std::string const& cardSerial)
{
    auto bytes = parseHex(newRigFile(file.name)).value();
    bytes.replace(file.numberOffset, file.numberSize, cardSerial);
    bytes.back() = crc7({bytes.data(), bytes.size() - 1});
    return formatHex(bytes) + '\n';
}

void makeStorage(Directory const& directory, std::string const& serial, std::string const& name)
{
    auto const kind = name.substr(0, name.find('-'));
    for (auto const& file : kRegisterFiles) {
        bool const isCid = std::string_view(file.name) == "cid.hex";
        if (file.kind == kind)
            directory.create(file.name, isCid ? cidText(file, derivedBytes(serial, name, file.numberSize))
                                              : newRigFile(file.name));
    }
    for (auto const& image : kImages) {
        auto label = serial;
        label.append(" ").append(name).append(" ").append(image.name);
        if (image.kind == kind)
            directory.create(std::string(image.name) + ".img", recognisableImage(label, image.kibibytes));
    }
}

void makeDevice(Directory const& directory, DeviceDescription const& device)
{
    for (auto const* const name : {"tokens", "firmware", "provisioning"})
        directory.make(name);
    directory.create(kDescription, description(device));
    directory.create("lifecycle.json", newRigFile("lifecycle.json"));
    auto const storages = directory.make("storage");
    for (auto const& storage : device.storages)
        makeStorage(storages.make(storage), device.serial, storage);
}

} // namespace

std::string newRigFile(char const* name, std::vector<std::string> const& texts)
{
    useNewRigFiles();
    QFile file(QStringLiteral(":/newrig/") + QLatin1String(name));
    file.open(QIODevice::ReadOnly);
    auto content = QString::fromUtf8(file.readAll());
    for (auto const& text : texts)
        content = content.arg(QString::fromStdString(text));
    return content.toStdString();
}

std::vector<DeviceDescription> standardDevices()
{
    return {{"0A1B2C3D", "1-4.2", 0x3D40, {"emmc-0", "spi-0"}}, {"5E6F7A8B", "2-1", 0x3D44, {"ufs-0"}}};
}

void makeDevices(Directory const& directory, std::vector<DeviceDescription> const& devices)
{
    std::set<std::string> paths;
    std::map<std::uint8_t, unsigned> lastNumbers; // of each bus; the root hub has 1
    for (auto const& device : devices) {
        auto const path = UsbPath::parse(device.path);
        if (!path || !paths.insert(device.path).second)
            throw RigError("Malformed or repeated USB path " + inQuotes(device.path));
        if (!isSerial(device.serial) || directory.has(device.serial))
            throw RigError("Malformed or repeated serial number " + inQuotes(device.serial));
        auto const made = directory.make(device.serial);
        auto const product = QByteArray::number(device.product, 16).rightJustified(4, '0').toStdString();
        makeDevice(made, device);
        UsbTree::describe(made, *path, product, ++lastNumbers.emplace(path->bus, 1).first->second);
    }
}

} // namespace VrelRig
