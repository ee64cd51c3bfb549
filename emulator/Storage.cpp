#include "emulator/Storage.h"

#include "emulator/Text.h"

#include <QXmlStreamReader>

#include <algorithm>
#include <set>

namespace VrelRig {

namespace {

/** The host performance booster is a feature of a UFS, not a storage device of its own. */
constexpr StorageKind kKinds[] = {
    {"spi", "SPI flash", 1, false, false},
    {"emmc", "eMMC", 2, true, false},
    {"ufs", "UFS", 3, true, true},
    {"ufs", "UFS", 16, true, true},
};

/** A register or descriptor of a storage device, kept as a file of hexadecimal text. */
struct RegisterFile
{
    std::string_view kind;
    char const* name;
    std::size_t size; ///< in bytes
    int numberOffset =
        -1; ///< of a big-endian number of 4 bytes, which the card information holds little-endian
    bool isOptional = false;
};

/** In the order of the card information. */
constexpr RegisterFile kRegisterFiles[] = {
    {"emmc", "ocr.hex", 4, 0},         {"emmc", "cid.hex", 16, 10}, // its serial number
    {"emmc", "csd.hex", 16},           {"emmc", "ext_csd.hex", 512},
    {"ufs", "configuration.hex", 144}, {"ufs", "attributes.hex", 60, -1, true},
    {"ufs", "geometry.hex", 68},
};

StorageKind const& kindOf(std::uint8_t deviceType)
{
    for (auto const& kind : kKinds) {
        if (kind.deviceType == deviceType)
            return kind;
    }
    throw RigError("Unknown storage device type " + std::to_string(deviceType) +
                   ": 1 is SPI flash, 2 eMMC, 3 UFS, 16 UFS with host performance booster");
}

std::string readRegister(Directory const& directory, RegisterFile const& source)
{
    auto const file = directory.read(source.name, kMebibyte);
    auto bytes = parseHex(file.content());
    if (!bytes || bytes->size() != source.size)
        throw RigError(inQuotes(file.path()) + ": expected " + std::to_string(source.size) +
                       " bytes in hexadecimal, found " +
                       (bytes ? std::to_string(bytes->size()) : "other text"));
    if (source.numberOffset >= 0)
        std::reverse(bytes->begin() + source.numberOffset, bytes->begin() + source.numberOffset + 4);
    return *bytes;
}

} // namespace

StorageDevice::StorageDevice(Directory const& device, std::uint8_t deviceType, std::uint8_t index)
    : kind(kindOf(deviceType))
    , title(std::string(kind.title) + ' ' + std::to_string(index))
{
    auto const storages = device.open("storage");
    auto const name = kind.name + ('-' + std::to_string(index));
    if (!storages.has(name))
        throw RigError(std::string("The device has no ") + kind.title + " at index " + std::to_string(index));
    directory = storages.open(name);
}

std::string StorageDevice::cardInfo() const
{
    std::string bytes;
    for (auto const& source : kRegisterFiles) {
        if (source.kind == kind.name && (!source.isOptional || directory.has(source.name)))
            bytes += readRegister(directory, source);
    }
    return bytes;
}

std::size_t checkPartitionConfig(std::string const& xml, std::string const& path)
{
    QXmlStreamReader reader(QByteArray::fromStdString(xml));
    std::set<QString> names;
    if (reader.readNextStartElement() && reader.name() != QLatin1String("partitions"))
        reader.raiseError("the root element 'partitions' is expected");
    while (reader.readNextStartElement()) {
        auto const name = reader.attributes().value("name").toString();
        auto const size = parseNumber(reader.attributes().value("size").toString().toStdString());
        if (reader.name() != QLatin1String("partition"))
            reader.raiseError("element 'partition' is expected");
        else if (name.isEmpty() || !names.insert(name).second)
            reader.raiseError("a partition needs a 'name' of its own");
        else if (size.value_or(0) == 0)
            reader.raiseError("a partition needs a 'size' in bytes");
        else
            reader.skipCurrentElement();
    }
    while (!reader.atEnd())
        reader.readNext();
    if (reader.hasError())
        throw RigError("Bad partition configuration " + inQuotes(path) + ": line " +
                       std::to_string(reader.lineNumber()) + ", column " +
                       std::to_string(reader.columnNumber()) + ": " + reader.errorString().toStdString());
    return names.size();
}

} // namespace VrelRig
