#include "emulator/DeviceList.h"

#include "emulator/RigDevice.h"
#include "emulator/RigError.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace VrelRig {

namespace {

std::optional<UsbPath> readableLocation(Rig const& rig, std::string const& serial)
{
    try {
        return RigDevice(rig, serial).location();
    } catch (RigError const&) {
        return std::nullopt; // an operation on the device tells what is wrong with it
    }
}

void append(VrelDeviceList& list, std::string const& serial, UsbPath const& path)
{
    auto& location = list.locations[list.count];
    location.bus = path.bus;
    location.portCount = static_cast<std::int32_t>(path.ports.size());
    std::copy(path.ports.begin(), path.ports.end(), location.ports);
    serial.copy(list.names[list.count], serial.size());
    ++list.count;
}

} // namespace

void listDevices(Rig const& rig, VrelDeviceList& list)
{
    auto const serials = rig.serials();
    list = {};
    for (auto const& serial : serials) {
        if (list.count == std::size(list.locations))
            return;
        auto const path = readableLocation(rig, serial);
        if (path && serial.size() < sizeof(list.names[0]))
            append(list, serial, *path);
    }
}

} // namespace VrelRig
