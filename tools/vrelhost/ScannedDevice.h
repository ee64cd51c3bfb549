#pragma once

#include <QString>

#include <cstdint>

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
