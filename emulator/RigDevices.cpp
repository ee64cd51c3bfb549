#include "emulator/RigDevices.h"

#include "emulator/JsonFile.h"
#include "emulator/NewRig.h"
#include "emulator/Text.h"

#include <algorithm>
#include <cerrno>

namespace VrelRig {

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
        throw RigError(inQuotes(tree.path(name)) + " exists already: another device is at this path");
    tree.makeLink(name, text);
}

} // namespace

std::optional<UsbPath> UsbPath::parse(std::string const& text)
{
    constexpr int kMostPorts = 7;
    auto const busAndPorts = QString::fromStdString(text).split('-');
    if (busAndPorts.size() != 2)
        return std::nullopt;
    auto const ports = busAndPorts[1].split('.');
    UsbPath path = {text, {}};
    for (auto const& number : busAndPorts.mid(0, 1) + ports) {
        auto const value = number.toUInt();
        if (value < 1 || value > 255 || number != QString::number(value)) // but for its one form
            return std::nullopt;
        path.numbers.push_back(static_cast<std::uint8_t>(value));
    }
    return ports.size() <= kMostPorts ? std::make_optional(path) : std::nullopt;
}

bool isSerial(std::string const& text)
{
    auto const isForbidden = [](char c) { return c == '/' || (c >= '\0' && c < ' '); };
    return !text.empty() && text.size() < sizeof(VrelDeviceList::names[0]) && text.front() != '.' &&
           std::none_of(text.begin(), text.end(), isForbidden);
}

std::vector<std::string> serialsIn(Directory const& devices)
{
    std::vector<std::string> serials;
    for (auto const& name : devices.names()) {
        if (isSerial(name) && devices.hasDirectory(name))
            serials.push_back(name);
    }
    return serials;
}

UsbPath locationOf(Directory const& device)
{
    JsonFile const description(device, kDescription);
    auto const text = description.text("path");
    if (auto const path = UsbPath::parse(text))
        return *path;
    throw RigError(inQuotes(description.path()) + ": 'path' " + inQuotes(text) +
                   " is not BUS-PORT[.PORT...]");
}

std::optional<UsbPath> readableLocation(Directory const& devices, std::string const& serial)
{
    try {
        return locationOf(devices.open(serial));
    } catch (RigError const& error) {
        if (error.code == EMFILE || error.code == ENFILE || error.code == ENOMEM)
            throw;           // tells nothing of the device
        return std::nullopt; // an operation on the device tells what is wrong with it
    }
}

void makeUsbTree(Directory const& tree, Directory const& devices)
{
    for (auto const& serial : serialsIn(devices)) {
        auto const path = readableLocation(devices, serial);
        if (!path || tree.has(path->text))
            continue;
        addToUsbTree(tree, serial, *path);
        auto const bus = std::to_string(path->numbers.front());
        if (tree.has("usb" + bus))
            continue;
        makeUsbEntry(tree.make("usb" + bus), "root-hub.txt", {QString::fromStdString(bus)});
        makeUsbEntry(tree.make(bus + "-0:1.0"), "root-hub-interface.txt");
    }
}

void addToUsbTree(Directory const& tree, std::string const& serial, UsbPath const& path)
{
    addLink(tree, path.text, linkTo(serial, kUsbDevice));
    addLink(tree, path.text + ":1.0", linkTo(serial, kUsbInterface));
}

void removeFromUsbTree(Directory const& tree, std::string const& serial)
{
    for (auto const& name : tree.names()) {
        auto const text = tree.linkText(name);
        if (text == linkTo(serial, kUsbDevice) || text == linkTo(serial, kUsbInterface))
            tree.remove(name);
    }
}

} // namespace VrelRig
