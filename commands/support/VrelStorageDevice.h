#pragma once

#include "commands/support/VrelDeviceType.h"
#include "external/LogHandler.h"

#include <cstdint>

namespace VrelUtilsCommand {

/** The vendor API's code of a storage device type. */
inline std::uint8_t deviceCode(DeviceType type)
{
    return static_cast<std::uint8_t>(type);
}

/** Logs which storage device a command works on. */
void logStorageDevice(DeviceType type, unsigned char index, LogHandler& log);

} // namespace VrelUtilsCommand
