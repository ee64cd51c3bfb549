#include "emulator/StorageDevice.h"

#include "emulator/CallerArgument.h"
#include "emulator/FileCopy.h"
#include "emulator/FileSystem.h"
#include "emulator/PartitionConfig.h"

#include <algorithm>

namespace VrelRig {

namespace {

constexpr std::uint64_t kBlockSize = 512;
constexpr std::uint64_t kMaximumConfigSize = 1024 * 1024;

void requireInside(InputFile const& image, std::uint64_t start, std::uint64_t length)
{
    auto const end = start + length;
    if (end > image.size())
        throw RigError("The region from byte " + std::to_string(start) + " to byte " + std::to_string(end) +
                       " lies outside the partition of " + std::to_string(image.size()) + " bytes");
}

} // namespace

StorageDevice::StorageDevice(RigDevice const& device, std::uint8_t deviceType, std::uint8_t index)
    : m_device(device)
    , m_traits(traitsOf(storageKindOf(deviceType)))
    , m_name(std::string(m_traits.title) + ' ' + std::to_string(index))
    , m_directory(device.file("storage/" + std::string(m_traits.name) + '-' + std::to_string(index)))
{
    if (!isDirectory(m_directory))
        throw RigError("Device " + quoted(device.serial()) + " has no " + m_traits.title + " at index " +
                       std::to_string(index));
}

void StorageDevice::readPartition(VrelReadRegion const& region, char const* targetPath,
                                  OperationLog const& log) const
{
    auto const target = requiredText(targetPath, "target file");
    auto const name = "partition " + std::to_string(region.partition);
    auto const path = file("partition-" + std::to_string(region.partition) + ".img");
    if (!exists(path))
        throw RigError(m_name + " has no " + name);
    InputFile const image(path);
    auto const length = region.blockCount * kBlockSize;
    requireInside(image, region.startOffset, length);
    auto output = OutputFile::outside(target);
    copyBytes(image, region.startOffset, length, output);
    output.commit();
    log.info("Read " + std::to_string(length) + " bytes of " + m_name + ", " + name);
}

void StorageDevice::clearRpmb(OperationLog const& log) const
{
    if (!m_traits.hasRpmb)
        throw RigError(std::string(m_traits.title) + " has no RPMB");
    InputFile const rpmb(file("rpmb.img"));
    auto cleared = m_device.rig().replace(rpmb.path());
    std::string const zeros(64 * 1024, '\0');
    for (auto left = rpmb.size(); left > 0;) {
        auto const count = std::min<std::uint64_t>(left, zeros.size());
        cleared.write({zeros.data(), static_cast<std::size_t>(count)});
        left -= count;
    }
    cleared.commit();
    log.info("Cleared " + std::to_string(rpmb.size()) + " bytes of RPMB on " + m_name);
}

void StorageDevice::configurePartitions(char const* configPath, OperationLog const& log) const
{
    if (!m_traits.isPartitionable)
        throw RigError(std::string(m_traits.title) + " takes no partition configuration");
    auto const config = readCallerFile(configPath, "partition configuration", kMaximumConfigSize);
    auto const count = checkPartitionConfig(config, configPath);
    auto const stored = file("partitions.xml");
    if (exists(stored) && !m_traits.isReconfigurable)
        throw RigError(m_name + " is already configured");
    if (exists(stored))
        log.warning(m_name + ": the partition configuration is replaced");
    m_device.rig().store(stored, config);
    log.info(m_name + ": configured " + std::to_string(count) + " partitions");
}

} // namespace VrelRig
