#pragma once

#include "external/DummyDevice.h"

#include <QString>

#include <list>
#include <optional>

class LogHandler;

/**
 * Finds USB devices in a tree in the shape of /sys/bus/usb/devices.
 *
 * Names and files of the tree may hold anything. Interfaces and root hubs are no devices; every other entry
 * is one, its name is the property "usb.devicePath".
 */
class UsbScanner
{
public:
    /** @param root directory with one entry per device */
    UsbScanner(QString root, LogHandler const& log);

    /**
     * Records of all devices, in the order of their paths; of an absent tree none. An entry without readable
     * IDs is left out and logged at level 2.
     * @return nothing, with the cause logged at level 1, when there is a tree that cannot be read
     */
    std::optional<std::list<DummyDevice>> scan() const;

private:
    QString const m_root;
    LogHandler const& m_log;
};
