#include "emulator/UsbTree.h"

#include "emulator/FileSystem.h"
#include "emulator/NewFile.h"
#include "emulator/UsbPath.h"

#include <cstdio>
#include <map>

namespace VrelRig {

namespace {

/** File name and content of one entry of the tree. */
using Attributes = std::vector<std::pair<char const*, std::string>>;

std::string hex4(unsigned number)
{
    char text[8];
    static_cast<void>(std::snprintf(text, sizeof(text), "%04x", number & 0xFFFFU));
    return text;
}

void makeEntry(std::string const& directory, Attributes const& attributes)
{
    makeDirectories(directory);
    for (auto const& [name, value] : attributes)
        writeNewFile(directory + '/' + name, value + '\n');
}

void makeRootHub(std::string const& directory, std::string const& bus)
{
    makeEntry(directory + "/usb" + bus, {{"bDeviceClass", "09"},
                                         {"busnum", bus},
                                         {"devnum", "1"},
                                         {"devpath", "0"},
                                         {"idProduct", "0002"},
                                         {"idVendor", "1d6b"},
                                         {"speed", "480"}});
    makeEntry(directory + '/' + bus + "-0:1.0", {{"bInterfaceClass", "09"}, {"bInterfaceNumber", "00"}});
}

void makeDevice(std::string const& directory, DeviceDescription const& device, UsbPath const& path,
                unsigned number)
{
    makeEntry(directory + '/' + device.path, {{"bDeviceClass", "00"},
                                              {"busnum", std::to_string(path.bus)},
                                              {"devnum", std::to_string(number)},
                                              {"devpath", path.portText()},
                                              {"idProduct", hex4(device.product)},
                                              {"idVendor", hex4(kVendor)},
                                              {"speed", "480"}});
    makeEntry(directory + '/' + device.path + ":1.0",
              {{"bInterfaceClass", "ff"}, {"bInterfaceNumber", "00"}});
}

} // namespace

void makeUsbTree(std::string const& directory, std::vector<DeviceDescription> const& devices)
{
    makeDirectories(directory);
    std::map<std::uint8_t, unsigned> lastNumber;
    for (auto const& device : devices) {
        auto const path = UsbPath::parse(device.path).value();
        auto const [bus, isNew] = lastNumber.emplace(path.bus, 1);
        if (isNew)
            makeRootHub(directory, std::to_string(path.bus));
        makeDevice(directory, device, path, ++bus->second);
    }
}

} // namespace VrelRig
