#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

/** One device as a scan shows it. */
struct ScannedDevice
{
    QString path; ///< "usb.devicePath"
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    bool isClaimed = false;
    QString serial;        ///< null when it is not known
    bool isDenied = false; ///< not known, and there is no permission to use the device
};

/** A scan's result in its two forms, UTF-8 with a line end. */
namespace ScanReport {

/** A table for people; what cannot be printed shows as '?'. */
QByteArray toTable(std::vector<ScannedDevice> const& devices);

/** One line of compact JSON: an array of objects with the keys path, vendor, product, claimed and serial. */
QByteArray toJson(std::vector<ScannedDevice> const& devices);

} // namespace ScanReport
