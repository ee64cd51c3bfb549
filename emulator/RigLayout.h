#pragma once

/** The names of files and directories that several classes share. */
namespace VrelRig {

// In the rig's root.
constexpr char const* kDevices = "devices";
constexpr char const* kUnplugged = "unplugged";
constexpr char const* kUsbTree = "sysfs";
constexpr char const* kTemporary = ".tmp";

// In a device's directory.
constexpr char const* kDescription = "device.json";

} // namespace VrelRig
