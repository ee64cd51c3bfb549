#include "commands/support/VrelStorageDevice.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

void logStorageDevice(DeviceType type, unsigned char index, LogHandler& log)
{
    auto const names = getDeviceTypeToStringMap();
    auto const name = names.find(type);
    if (name != names.end())
        logProgress(log, "Device type: ", name->second);
    logProgress(log, "Device index: ", QString::number(index));
}

} // namespace VrelUtilsCommand
