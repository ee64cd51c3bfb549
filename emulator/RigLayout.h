#pragma once

/** The names of files and directories that several classes share. */
namespace VrelRig::RigLayout {

// Relative to the rig's root.
constexpr char const* kDevices = "/devices";
constexpr char const* kUsbTree = "/sysfs";
constexpr char const* kLock = "/.lock";
constexpr char const* kTemporary = "/.tmp";

// Relative to a device's directory.
constexpr char const* kDescription = "device.json";
constexpr char const* kLifecycle = "lifecycle.json";

} // namespace VrelRig::RigLayout
