#include "emulator/UsbTree.h"

#include "emulator/Devices.h"
#include "emulator/NewRig.h"
#include "emulator/Text.h"

namespace VrelRig::UsbTree {

namespace {

std::string linkTo(std::string const& serial, char const* entry)
{
    return std::string("../") + kDevices + '/' + serial + '/' + kUsb + '/' + entry;
}

void addLink(Directory const& tree, std::string const& name, std::string const& text)
{
    if (tree.linkText(name) == text)
        return;
    if (tree.has(name))
        throw RigError(inQuotes(tree.path(name)) + " is there already: another device is at this path");
    tree.makeLink(name, text);
}

} // namespace

void make(Directory const& tree, Directory const& devices)
{
    for (auto const& serial : serialsIn(devices)) {
        auto const path = readableLocation(devices, serial);
        if (!path || tree.has(path->text))
            continue;
        add(tree, serial, *path);
        auto const bus = std::to_string(path->bus);
        if (tree.has("usb" + bus))
            continue;
        makeUsbEntry(tree.make("usb" + bus), "root-hub.txt", {QString::fromStdString(bus)});
        makeUsbEntry(tree.make(bus + "-0:1.0"), "root-hub-interface.txt");
    }
}

void add(Directory const& tree, std::string const& serial, UsbPath const& path)
{
    addLink(tree, path.text, linkTo(serial, kUsbDevice));
    addLink(tree, path.text + ":1.0", linkTo(serial, kUsbInterface));
}

void remove(Directory const& tree, std::string const& serial)
{
    for (auto const& name : tree.names()) {
        auto const text = tree.linkText(name);
        if (text == linkTo(serial, kUsbDevice) || text == linkTo(serial, kUsbInterface))
            tree.remove(name);
    }
}

} // namespace VrelRig::UsbTree
