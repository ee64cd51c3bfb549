#include "emulator/NewRig.h"

#include "emulator/RigDevices.h"
#include "emulator/Text.h"

#include <QCryptographicHash>
#include <QDir>

#include <map>
#include <set>

/** Has the linker take the files out of a static library; the macro does not work in a namespace. */
static void useNewRigFiles()
{
    Q_INIT_RESOURCE(newrig);
}

namespace VrelRig {

namespace {

/** @return a template, with %1, %2, ... replaced by the texts */
std::string filledIn(QString const& name, QStringList const& texts = {})
{
    useNewRigFiles();
    QFile file(QStringLiteral(":/newrig/") + name);
    file.open(QIODevice::ReadOnly);
    auto content = QString::fromUtf8(file.readAll());
    for (auto const& text : texts)
        content = content.arg(text);
    return content.toStdString();
}

/** Bytes that look random but are the same for every device of this serial number, in hexadecimal. */
QString derivedHex(std::string const& serial, std::string const& purpose, std::size_t length)
{
    auto const seed = QByteArray::fromStdString(purpose + ' ' + serial);
    auto const hash = QCryptographicHash::hash(seed, QCryptographicHash::Sha256);
    return formatHex(hash.toStdString().substr(0, length));
}

std::string description(DeviceDescription const& device)
{
    auto const derived = [&](char const* purpose, std::size_t length) {
        return derivedHex(device.serial, purpose, length);
    };
    return filledIn("device.json", {derived("device ID", 4).remove(' '), derived("nonce", 4).remove(' '),
                                    derived("part ID", 12), QString::fromStdString(device.path),
                                    hexNumber(device.product, 4), derived("unique ID", 16)});
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

/** @return the CID with its serial number and checksum */
std::string cid(QString const& name, QString const& number)
{
    auto const bytes = parseHex(filledIn(name, {number, {}})).value();
    return filledIn(name, {number, formatHex({crc7(bytes)})});
}

/** Makes the files that there are templates of; those of images hold the size in KiB. */
void makeStorage(Directory const& directory, std::string const& serial, std::string const& name)
{
    auto const kind = QString::fromStdString(name).section('-', 0, 0) + '/';
    auto const label = QString::fromStdString(serial + ' ' + name + ' ');
    for (auto const& file : QDir(":/newrig/" + kind).entryInfoList()) {
        auto const templateName = kind + file.fileName();
        auto content = filledIn(templateName);
        if (file.suffix() == "img")
            content = recognisableImage((label + file.baseName()).toStdString(), std::stoul(content));
        else if (file.fileName() == "cid.hex")
            content = cid(templateName, derivedHex(serial, name, 4));
        directory.create(file.fileName().toStdString(), content);
    }
}

} // namespace

std::vector<DeviceDescription> standardDevices()
{
    return {{"0A1B2C3D", "1-4.2", 0x3D40, {"emmc-0", "spi-0"}}, {"5E6F7A8B", "2-1", 0x3D44, {"ufs-0"}}};
}

void makeDevices(Directory const& directory, std::vector<DeviceDescription> const& devices)
{
    std::set<std::string> paths;
    std::map<std::uint8_t, int> lastNumbers; // of each bus; the root hub has 1
    for (auto const& device : devices) {
        auto const path = UsbPath::parse(device.path);
        if (!path || !paths.insert(device.path).second)
            throw RigError("Malformed or repeated USB path " + inQuotes(device.path));
        if (!isSerial(device.serial) || directory.has(device.serial))
            throw RigError("Malformed or repeated serial number " + inQuotes(device.serial));
        auto const made = directory.make(device.serial);
        for (auto const* const name : {"tokens", "firmware", "provisioning"})
            made.make(name);
        made.create(kDescription, description(device));
        made.create("lifecycle.json", filledIn("lifecycle.json"));
        auto const usb = made.make(kUsb);
        auto const number = ++lastNumbers.emplace(path->numbers.front(), 1).first->second;
        makeUsbEntry(usb.make(kUsbDevice), "usb-device.txt",
                     {QString::number(path->numbers.front()), QString::number(number),
                      QString::fromStdString(path->portText()),
                      QString::number(device.product, 16).rightJustified(4, '0')});
        makeUsbEntry(usb.make(kUsbInterface), "usb-interface.txt");
        auto const storages = made.make("storage");
        for (auto const& storage : device.storages)
            makeStorage(storages.make(storage), device.serial, storage);
    }
}

void makeUsbEntry(Directory const& entry, char const* list, QStringList const& texts)
{
    auto const lines = QString::fromStdString(filledIn(list, texts)).split('\n', Qt::SkipEmptyParts);
    for (auto const& line : lines)
        entry.create(line.section(' ', 0, 0).toStdString(), line.section(' ', 1).toStdString() + '\n');
}

} // namespace VrelRig
