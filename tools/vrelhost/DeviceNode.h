#pragma once

#include <QString>

/** The files by which user programs reach USB devices. */
namespace DeviceNode {

/**
 * Where the node of a device lies.
 * @param root tree in the shape of /sys/bus/usb/devices that has an entry `device`
 * @param nodes directory in the shape of /dev/bus/usb
 * @return an empty text when the tree does not tell
 */
QString path(QString const& root, QString const& device, QString const& nodes);

/** Whether a node exists but may not be both read and written. */
bool isDenied(QString const& node);

} // namespace DeviceNode
