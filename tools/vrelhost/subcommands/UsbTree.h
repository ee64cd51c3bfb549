#pragma once

#include "external/DummyDevice.h"

#include <QString>

#include <list>
#include <optional>

class LogHandler;

/**
 * USB devices in a tree in the shape of /sys/bus/usb/devices, whose names and files may hold anything, and
 * the nodes by which user programs reach them.
 */
namespace UsbTree {

/**
 * Records of all devices, in the order of their paths; of an absent tree none. Interfaces and root hubs are
 * no devices; every other entry is one, its name is the property "usb.devicePath". One without readable IDs
 * is left out and logged at level 2.
 * @param root directory with one entry per device
 * @return nothing, with the cause logged at level 1, when there is a tree that cannot be read
 */
std::optional<std::list<DummyDevice>> devices(QString const& root, LogHandler const& log);

/**
 * Where the node of a device lies.
 * @param nodes directory in the shape of /dev/bus/usb
 * @return an empty text when the tree does not tell
 */
QString node(QString const& root, QString const& device, QString const& nodes);

/** Whether a node exists but may not be both read and written. */
bool isDenied(QString const& node);

} // namespace UsbTree
