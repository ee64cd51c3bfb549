#include "emulator/Devices.h"

#include "emulator/JsonFile.h"
#include "emulator/NewRig.h"
#include "emulator/Text.h"

#include <QRegularExpression>

#include <algorithm>
#include <iterator>

namespace VrelRig {

std::optional<UsbPath> UsbPath::parse(std::string const& text)
{
    static QRegularExpression const s_form(
        QStringLiteral("\\A[1-9][0-9]*-[1-9][0-9]*(\\.[1-9][0-9]*){0,6}\\z"));
    auto given = QString::fromStdString(text);
    if (!s_form.match(given).hasMatch())
        return std::nullopt;
    UsbPath path = {text, {}};
    for (auto const& number : given.replace('-', '.').split('.')) {
        auto const value = number.toUInt(); // 0 for a number that is too large for it
        if (value < 1 || value > 255)
            return std::nullopt;
        path.numbers.push_back(static_cast<std::uint8_t>(value));
    }
    return path;
}

bool isSerial(std::string const& text)
{
    auto const isForbidden = [](char c) { return c == '/' || (c >= '\0' && c < ' '); };
    return !text.empty() && text.size() < sizeof(VrelDeviceList::names[0]) && text.front() != '.' &&
           std::none_of(text.begin(), text.end(), isForbidden);
}

std::vector<std::string> serialsIn(Directory const& devices)
{
    auto names = devices.names();
    auto const isNoDevice = [&](std::string const& name) {
        return !isSerial(name) || !devices.hasDirectory(name);
    };
    names.erase(std::remove_if(names.begin(), names.end(), isNoDevice), names.end());
    return names;
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
    } catch (RigError const&) {
        return std::nullopt; // an operation on the device tells what is wrong with it
    }
}

void listDevices(Directory const& devices, VrelDeviceList& list)
{
    list = {};
    for (auto const& serial : serialsIn(devices)) {
        if (list.count == std::size(list.locations))
            return;
        auto const path = readableLocation(devices, serial);
        if (!path)
            continue;
        auto& location = list.locations[list.count];
        location.bus = path->numbers.front();
        location.portCount = static_cast<std::int32_t>(path->numbers.size()) - 1;
        std::copy(path->numbers.begin() + 1, path->numbers.end(), location.ports);
        serial.copy(list.names[list.count++], serial.size());
    }
}

namespace UsbTree {

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
        auto const bus = std::to_string(path->numbers.front());
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

} // namespace UsbTree

} // namespace VrelRig
