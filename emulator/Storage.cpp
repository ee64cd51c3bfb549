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

/**
 * Checks a partition configuration: an element `partitions` that holds elements `partition`, each with a
 * `name` of its own and a `size` in bytes. @return the number of partitions
 * @throws RigError naming `path`, line and column of what is wrong
 */
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

StorageDevice::StorageDevice(Operation const& operation, std::uint8_t deviceType, std::uint8_t index)
    : m_operation(operation)
    , m_kind(kindOf(deviceType))
    , m_title(std::string(m_kind.title) + ' ' + std::to_string(index))
{
    auto const storages = operation.device.open("storage");
    auto const name = m_kind.name + ('-' + std::to_string(index));
    if (!storages.has(name))
        throw RigError(std::string("The device has no ") + m_kind.title + " at index " +
                       std::to_string(index));
    m_directory = storages.open(name);
}

void StorageDevice::readPartition(VrelReadRegion const& region, char const* targetPath) const
{
    constexpr std::uint64_t kBlockSize = 512;
    auto const target = requiredText(targetPath, "target file");
    auto const partition = "partition-" + std::to_string(region.partition);
    auto const length = region.blockCount * kBlockSize;
    auto const end = region.startOffset + length;
    if (!m_directory.has(partition + ".img"))
        throw RigError(m_title + " has no partition " + std::to_string(region.partition));
    auto const image = m_directory.read(partition + ".img");
    if (end > image.size())
        throw RigError("The region from byte " + std::to_string(region.startOffset) + " to byte " +
                       std::to_string(end) + " lies outside the partition of " +
                       std::to_string(image.size()) + " bytes");
    copyToTarget(image, region.startOffset, length, target);
    m_operation.info("Read " + std::to_string(length) + " bytes of " + m_title + ", partition " +
                     std::to_string(region.partition));
}

void StorageDevice::clearRpmb() const
{
    if (!m_kind.isManaged)
        throw RigError(std::string(m_kind.title) + " has no RPMB");
    auto const rpmb = m_directory.read("rpmb.img", 64 * kMebibyte);
    m_directory.store("rpmb.img", std::string(rpmb.size(), '\0'));
    m_operation.info("Cleared " + std::to_string(rpmb.size()) + " bytes of RPMB on " + m_title);
}

void StorageDevice::configurePartitions(char const* configPath) const
{
    constexpr char const* kStored = "partitions.xml";
    if (!m_kind.isManaged)
        throw RigError(std::string(m_kind.title) + " takes no partition configuration");
    auto const config = openCallerFile(configPath, "partition configuration", kMebibyte).content();
    auto const count = checkPartitionConfig(config, configPath);
    bool const isConfigured = m_directory.has(kStored);
    if (isConfigured && !m_kind.isReconfigurable)
        throw RigError(m_title + " is already configured");
    if (isConfigured)
        m_operation.warning(m_title + ": the partition configuration is replaced");
    m_directory.store(kStored, config);
    m_operation.info(m_title + ": configured " + std::to_string(count) + " partitions");
}

std::string StorageDevice::cardInfo() const
{
    m_operation.info("Reading card information");
    std::string bytes;
    for (auto const& source : kRegisterFiles) {
        if (source.kind == m_kind.name && (!source.isOptional || m_directory.has(source.name)))
            bytes += readRegister(m_directory, source);
    }
    return bytes;
}

void StorageDevice::copyCardInfo(VrelCardInfo& buffer, std::uint32_t& size) const
{
    auto const bytes = cardInfo();
    auto const capacity = std::min<std::size_t>(size, sizeof(buffer.bytes));
    if (bytes.size() > capacity)
        throw RigError("The card information takes " + std::to_string(bytes.size()) +
                       " bytes, the buffer holds " + std::to_string(capacity));
    std::copy(bytes.begin(), bytes.end(), buffer.bytes);
    size = static_cast<std::uint32_t>(bytes.size());
}

} // namespace VrelRig
