#include "host/common/InProcessRun.h"

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "plugin/VrelManager.h"

bool runInProcess(VrelManager& manager, VrelFlashUtils& command, QString const& serial, LogHandler& log)
{
    VrelApiManager const api = manager.fetchApi();
    if (!api) {
        log.logMessage(1, "The vendor API is not available: another process may be using it");
        return false;
    }
    return command.run(api, serial, log);
}
