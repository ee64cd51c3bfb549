#pragma once

#include "emulator/Files.h"

#include "external/IVrelAPI.h"

#include <optional>
#include <string>
#include <vector>

/** Which devices a directory of devices holds, where they are plugged in, and how USB shows them. */
namespace VrelRig {

// In the rig's root.
constexpr char const* kDevices = "devices";
constexpr char const* kUnplugged = "unplugged";
constexpr char const* kUsbTree = "sysfs";
constexpr char const* kTemporary = ".tmp";

// In a device's directory.
constexpr char const* kDescription = "device.json";
constexpr char const* kUsb = "usb"; // with what it shows of itself and of its interface
constexpr char const* kUsbDevice = "device";
constexpr char const* kUsbInterface = "interface";

/** Where a USB device is plugged in: "1-4.2" is bus 1, port 4 of the root hub, port 2 of the hub there. */
struct UsbPath
{
    std::string text;
    std::vector<std::uint8_t> numbers; ///< of the bus and of 1 to 7 ports, the root hub's first

    /** @return the path; nothing for a text that is not BUS-PORT[.PORT...] with numbers from 1 to 255 */
    static std::optional<UsbPath> parse(std::string const& text);

    /** @return the ports joined by '.', as in the file `devpath` */
    std::string portText() const { return text.substr(text.find('-') + 1); }
};

/** @return whether a device can have this serial number, which is also the name of a directory */
bool isSerial(std::string const& text);

/** @return the serial numbers of all devices, sorted, the broken ones included */
std::vector<std::string> serialsIn(Directory const& devices);

/** @return where a device is plugged in, from its description. @throws RigError when that does not tell */
UsbPath locationOf(Directory const& device);

/** @return the same, nothing for a broken device */
std::optional<UsbPath> readableLocation(Directory const& devices, std::string const& serial);

// A tree in the shape of /sys/bus/usb/devices. What a device shows lies in its own directory; as there, the
// tree holds a link to it, so that it goes and comes with the device's directory in one step.

/** Makes the tree of all devices whose path can be read, with the root hubs of their buses. */
void makeUsbTree(Directory const& tree, Directory const& devices);

/** Adds a device at a path; one that is there already is fine. @throws RigError when the path is taken */
void addToUsbTree(Directory const& tree, std::string const& serial, UsbPath const& path);

/** Removes the device, at whatever path it is. */
void removeFromUsbTree(Directory const& tree, std::string const& serial);

} // namespace VrelRig
