#include "emulator/RigActions.h"

#include "emulator/Devices.h"
#include "emulator/Rig.h"
#include "emulator/RigMarker.h"
#include "emulator/Text.h"
#include "emulator/UsbTree.h"

#include <filesystem>
#include <optional>

namespace VrelRig {

namespace {

bool isThere(std::filesystem::path const& path)
{
    std::error_code error;
    return std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found;
}

/** @return the root of a rig that has been made */
Directory existingRig(std::string const& path)
{
    auto root = openRigRoot(path);
    if (!RigMarker::isBegun(root, RigMarker::open(root)))
        throw RigError(inQuotes(path) + " is empty and no rig");
    return root;
}

/** @return the device's directory. @throws RigError unless it lies in `from` alone */
Directory deviceToMove(Directory const& from, Directory const& to, std::string const& serial,
                       char const* state)
{
    if (isSerial(serial) && to.has(serial))
        throw RigError("The device " + inQuotes(serial) + " is " + state + " already");
    if (!isSerial(serial) || !from.has(serial))
        throw RigError("The rig has no device " + inQuotes(serial));
    return from.open(serial);
}

} // namespace

void createRig(std::string const& path, std::vector<DeviceDescription> const& devices)
{
    if (!Rig(path, devices).isNew())
        throw RigError(inQuotes(path) + " is not empty");
}

std::string checkRig(std::string const& path)
{
    std::string const canBeMade = "There is no rig in " + inQuotes(path) + " yet; it can be made";
    if (!isThere(path)) {
        auto parent = std::filesystem::path(path).parent_path();
        while (!parent.empty() && !isThere(parent))
            parent = parent.parent_path();
        Directory(parent.empty() ? "." : parent.string()).requireWritable();
        return canBeMade;
    }
    auto const root = openRigRoot(path);
    auto const marker = RigMarker::open(root);
    if (RigMarker::isLocked(marker))
        throw RigError("Another process holds the rig " + inQuotes(path));
    bool const isMade = RigMarker::isBegun(root, marker) && root.has(kDevices);
    for (auto const* const part : {kTemporary, kDevices, kUsbTree}) {
        if (root.has(part))
            root.open(part);
        else
            root.requireWritable();
    }
    return isMade ? "The rig " + inQuotes(path) + " can be taken; devices plugged in: " +
                        std::to_string(serialsIn(root.open(kDevices)).size())
                  : canBeMade;
}

void plugDevice(std::string const& path, std::string const& serial)
{
    auto const root = existingRig(path);
    auto const devices = root.open(kDevices);
    auto const unplugged = root.make(kUnplugged);
    auto const device = deviceToMove(unplugged, devices, serial, "plugged in");
    // The tree's links come first and go last: as long as the device is not there, they lead nowhere.
    if (root.has(kUsbTree))
        UsbTree::add(root.open(kUsbTree), serial, locationOf(device));
    unplugged.rename(serial, devices, serial);
}

void unplugDevice(std::string const& path, std::string const& serial)
{
    auto const root = existingRig(path);
    auto const devices = root.open(kDevices);
    auto const unplugged = root.make(kUnplugged);
    deviceToMove(devices, unplugged, serial, "unplugged");
    // Opened first: where it cannot be, the device stays.
    auto const tree = root.has(kUsbTree) ? std::make_optional(root.open(kUsbTree)) : std::nullopt;
    devices.rename(serial, unplugged, serial);
    if (tree)
        UsbTree::remove(*tree, serial);
}

} // namespace VrelRig
