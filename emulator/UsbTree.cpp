#include "emulator/UsbTree.h"

#include "emulator/Devices.h"
#include "emulator/NewRig.h"
#include "emulator/Text.h"

#include <QByteArray>
#include <QList>

namespace VrelRig::UsbTree {

namespace {

// In a device's directory.
constexpr char const* kUsb = "usb";
constexpr char const* kDevice = "device";
constexpr char const* kInterface = "interface";

/** Makes the files that a list of names and values tells. */
void makeEntry(Directory const& entry, std::string const& attributes)
{
    for (auto const& line : QByteArray::fromStdString(attributes).split('\n')) {
        auto const words = line.split(' ');
        if (words.size() == 2)
            entry.create(words[0].toStdString(), words[1].toStdString() + '\n');
    }
}

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

void describe(Directory const& device, UsbPath const& path, std::string const& product, unsigned number)
{
    auto const usb = device.make(kUsb);
    makeEntry(usb.make(kDevice), newRigFile("usb-device", {std::to_string(path.bus), std::to_string(number),
                                                           path.portText(), product}));
    makeEntry(usb.make(kInterface), newRigFile("usb-interface"));
}

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
        makeEntry(tree.make("usb" + bus), newRigFile("root-hub", {bus}));
        makeEntry(tree.make(bus + "-0:1.0"), newRigFile("root-hub-interface"));
    }
}

void add(Directory const& tree, std::string const& serial, UsbPath const& path)
{
    addLink(tree, path.text, linkTo(serial, kDevice));
    addLink(tree, path.text + ":1.0", linkTo(serial, kInterface));
}

void remove(Directory const& tree, std::string const& serial)
{
    for (auto const& name : tree.names()) {
        auto const text = tree.linkText(name);
        if (text == linkTo(serial, kDevice) || text == linkTo(serial, kInterface))
            tree.remove(name);
    }
}

} // namespace VrelRig::UsbTree
