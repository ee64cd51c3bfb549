#include "host/tool/DeviceSelection.h"

#include "external/LogHandler.h"

#include <algorithm>

namespace {

class Selection
{
public:
    explicit Selection(LogHandler const& log)
        : m_log(log)
    {
    }

    bool addListed(QString const& path, QString const& serial)
    {
        if (serial.isEmpty()) {
            m_log.logMessage(1, QStringLiteral("The vendor API gives no serial number for the device at %1; "
                                               "name the others with --sn or --path")
                                    .arg(path));
            return false;
        }
        auto const same = find(serial);
        if (same != devices.end() && same->path != path)
            m_log.logMessage(2, QStringLiteral("The devices at %1 and %2 have the same serial number '%3': "
                                               "they are run as one")
                                    .arg(same->path, path, serial));
        if (same == devices.end())
            devices.push_back({serial, path});
        return true;
    }

    void addSerial(QString const& serial, VendorApi::DeviceList const& list)
    {
        auto const entry = std::find_if(list.begin(), list.end(),
                                        [&](auto const& listed) { return listed.second == serial; });
        if (find(serial) == devices.end())
            devices.push_back({serial, entry == list.end() ? QString() : entry->first});
    }

    std::vector<DeviceName> devices;

private:
    std::vector<DeviceName>::const_iterator find(QString const& serial) const
    {
        return std::find_if(devices.begin(), devices.end(),
                            [&](DeviceName const& device) { return device.serial == serial; });
    }

    LogHandler const& m_log;
};

} // namespace

std::optional<std::vector<DeviceName>> selectDevices(RunOptions const& options,
                                                     VendorApi::DeviceList const& list, LogHandler const& log)
{
    Selection selection(log);
    if (options.isAll) {
        for (auto const& [path, serial] : list) {
            if (!selection.addListed(path, serial))
                return std::nullopt;
        }
    }
    for (RunOptions::Device const& device : options.devices) {
        if (!device.isPath) {
            selection.addSerial(device.text, list);
            continue;
        }
        auto const listed = list.find(device.text);
        if (listed == list.end()) {
            log.logMessage(1, QStringLiteral("There is no device at the USB path '%1'; vrelhost scan shows "
                                             "the paths")
                                  .arg(device.text));
            return std::nullopt;
        }
        if (!selection.addListed(listed->first, listed->second))
            return std::nullopt;
    }
    return std::move(selection.devices);
}
