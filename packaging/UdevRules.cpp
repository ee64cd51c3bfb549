#include "devices/VrelClaimRule.h"

#include <cstdio>

/** Writes the udev rules for the devices that the library serves. */
int main()
{
    std::puts("# Gives the user at the seat, and the group plugdev, access to devices in RuX recovery mode.");
    for (std::uint16_t const product : VrelClaimRule::kProductIds)
        std::printf(
            R"(SUBSYSTEM=="usb", ENV{DEVTYPE}=="usb_device", ATTR{idVendor}=="%04x", ATTR{idProduct}=="%04x", )"
            R"(MODE="0660", GROUP="plugdev", TAG+="uaccess")"
            "\n",
            VrelClaimRule::kVendorId, product);
}
