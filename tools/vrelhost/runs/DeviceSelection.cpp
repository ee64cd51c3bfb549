#include "tools/vrelhost/runs/DeviceSelection.h"

#include "tools/common/ReportText.h"
#include "tools/vrelhost/request/Refusal.h"

#include <algorithm>

namespace {

using VendorApi::DeviceList;

DeviceName deviceOfSerial(QString const& serial, DeviceList const& list)
{
    auto const entry =
        std::find_if(list.begin(), list.end(), [&](auto const& listed) { return listed.second == serial; });
    return {serial, entry == list.end() ? QString() : entry->first};
}

void addOnce(std::vector<DeviceName>& devices, DeviceName device)
{
    auto const isSame = [&](DeviceName const& other) { return other.serial == device.serial; };
    if (std::none_of(devices.begin(), devices.end(), isSame))
        devices.push_back(std::move(device));
}

} // namespace

QString namingFault(DeviceList::value_type const& device, DeviceList const& list)
{
    auto const& [path, serial] = device;
    if (serial.isEmpty())
        return QStringLiteral("The vendor API gives no serial number for the device at %1").arg(path);
    for (auto const& [otherPath, otherSerial] : list) {
        if (otherSerial == serial && otherPath != path)
            return QStringLiteral("The devices at %1 and %2 have the same serial number '%3'")
                .arg(path, otherPath, ReportText::printable(serial));
    }
    return QString();
}

std::vector<DeviceName> selectDevices(RunOptions const& options, DeviceList const& list)
{
    std::vector<DeviceName> devices;
    auto const addListed = [&](DeviceList::value_type const& device) {
        QString const cause = namingFault(device, list);
        if (!cause.isEmpty())
            refuse(cause + QStringLiteral(": name the others with --sn or --path"));
        addOnce(devices, {device.second, device.first});
    };
    if (options.isAll)
        std::for_each(list.begin(), list.end(), addListed);
    for (RunOptions::Device const& device : options.devices) {
        if (!device.isPath) {
            addOnce(devices, deviceOfSerial(device.text, list));
            continue;
        }
        auto const listed = list.find(device.text);
        if (listed == list.end())
            refuse((VendorApi::isFull(list)
                        ? QStringLiteral(
                              "The device list is full and has none at the USB path '%1': name it with --sn")
                        : QStringLiteral("There is no device at the USB path '%1'; vrelhost scan shows the "
                                         "paths"))
                       .arg(ReportText::printable(device.text)));
        addListed(*listed);
    }
    return devices;
}

QStringList unlisted(RunOptions const& options, DeviceList const& list)
{
    QStringList names;
    for (RunOptions::Device const& device : options.devices) {
        bool const isThere =
            device.isPath ? list.count(device.text) > 0
                          : VendorApi::isFull(list) || !deviceOfSerial(device.text, list).path.isNull();
        if (!isThere)
            names << QStringLiteral("'%1'").arg(ReportText::printable(device.text));
    }
    return names;
}

void requireListed(std::vector<DeviceName> const& devices, DeviceList const& list)
{
    for (DeviceName const& device : devices) {
        if (device.path.isNull() && !VendorApi::isFull(list))
            refuse(QStringLiteral("The vendor API lists no device with the serial number '%1'; vrelhost scan "
                                  "shows the serial numbers")
                       .arg(ReportText::printable(device.serial)));
    }
}
