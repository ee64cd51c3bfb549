#include "emulator/RigTemplate.h"

#include "emulator/DeviceTemplate.h"
#include "emulator/FileSystem.h"
#include "emulator/LockFile.h"
#include "emulator/RigError.h"
#include "emulator/RigLayout.h"
#include "emulator/UsbPath.h"
#include "emulator/UsbTree.h"

#include "external/IVrelAPI.h"

#include <algorithm>
#include <set>

namespace VrelRig {

namespace {

constexpr std::size_t kMaximumSerialSize = sizeof(VrelDeviceList::names[0]) - 1;

constexpr std::chrono::seconds kPatience(10); ///< far longer than a rig takes to make

bool isSerial(std::string const& text)
{
    auto const isForbidden = [](char c) { return c == '/' || (c >= '\0' && c < ' '); };
    return !text.empty() && text.size() <= kMaximumSerialSize && text.front() != '.' &&
           std::none_of(text.begin(), text.end(), isForbidden);
}

bool isOccupied(std::string const& root)
{
    return exists(root) && !directoryEntries(root).empty();
}

void buildTree(std::string const& root, std::vector<DeviceDescription> const& devices)
{
    makeDirectories(root + RigLayout::kDevices);
    for (auto const& device : devices)
        makeDevice(root + RigLayout::kDevices + '/' + device.serial, device);
    makeUsbTree(root + RigLayout::kUsbTree, devices);
}

} // namespace

RigTemplate::RigTemplate(std::vector<DeviceDescription> devices)
    : m_devices(std::move(devices))
{
    std::set<std::string> serials;
    std::set<std::string> paths;
    for (auto const& device : m_devices) {
        if (!isSerial(device.serial) || !serials.insert(device.serial).second)
            throw RigError("Malformed or repeated serial number " + quoted(device.serial));
        if (!UsbPath::parse(device.path) || !paths.insert(device.path).second)
            throw RigError("Malformed or repeated USB path " + quoted(device.path));
    }
}

RigTemplate RigTemplate::standard()
{
    return RigTemplate({{"0A1B2C3D", "1-4.2", 0x3D40, {{StorageKind::emmc, 0}, {StorageKind::spi, 0}}},
                        {"5E6F7A8B", "2-1", 0x3D44, {{StorageKind::ufs, 0}}}});
}

std::string RigTemplate::makeIfAbsent(std::string const& root) const
{
    auto target = resolvedPath(root);
    makeUnlessOccupied(target);
    return target;
}

void RigTemplate::make(std::string const& root) const
{
    if (!makeUnlessOccupied(resolvedPath(root)))
        throw RigError(quoted(root) + " is not empty");
}

bool RigTemplate::makeUnlessOccupied(std::string const& target) const
{
    if (isOccupied(target))
        return false;
    auto const parent = parentOf(target);
    makeDirectories(parent);
    // Makers of a rig take turns, so one fixed name serves for what is being made, and whatever lies there
    // was left by one that was killed.
    LockFile const turn(parent, LockFile::Kind::directory, kPatience);
    if (isOccupied(target))
        return false;
    auto const unfinished = parent + "/." + fileNameOf(target) + ".new";
    removeTree(unfinished);
    try {
        buildTree(unfinished, m_devices);
        renamePath(unfinished, target);
    } catch (RigError const&) { // may have filled the disk
        removeTree(unfinished);
        throw;
    }
    return true;
}

} // namespace VrelRig
