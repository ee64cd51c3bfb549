#include "emulator/Provisioning.h"

#include "emulator/CallerArgument.h"
#include "emulator/FileSystem.h"
#include "emulator/JsonFile.h"

namespace VrelRig::Provisioning {

namespace {

constexpr std::uint64_t kMaximumSize = 16 * 1024 * 1024;
constexpr char const* kDirectory = "provisioning";

/** Removes all contents of a kind but the one that its record names. */
void removeSuperseded(RigDevice const& device, Kind const& kind, std::string const& current)
{
    auto const prefix = std::string(kind.name) + '-';
    for (auto const& name : directoryEntries(device.file(kDirectory))) {
        auto const end = name.find_first_not_of("0123456789", prefix.size());
        bool const isContent = name.compare(0, prefix.size(), prefix) == 0 && end != std::string::npos &&
                               name.compare(end, std::string::npos, ".bin") == 0;
        if (isContent && name != current)
            removeTree(device.file(std::string(kDirectory) + '/' + name));
    }
}

} // namespace

void store(RigDevice const& device, Kind const& kind, char const* path, OperationLog const& log)
{
    auto const content = readCallerFile(path, kind.title, kMaximumSize);
    auto const base = device.file(std::string(kDirectory) + '/' + kind.name);
    auto const count = recordedCount(base + ".json") + 1;
    auto const contentName = std::string(kind.name) + '-' + std::to_string(count) + ".bin";
    log.info(std::string("Provisioning ") + kind.title + ' ' + quoted(path));
    device.rig().store(base + '-' + std::to_string(count) + ".bin", content);
    // The record comes last: until it names the new content, the old one counts.
    device.rig().store(base + ".json", jsonText({{"count", static_cast<qint64>(count)},
                                                 {"content", jsonValue(contentName)},
                                                 {"file", jsonValue(fileNameOf(path))},
                                                 {"size", static_cast<qint64>(content.size())}}));
    removeSuperseded(device, kind, contentName);
}

} // namespace VrelRig::Provisioning
