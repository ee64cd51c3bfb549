#include "tools/ruxFwDownloader/InProcessRun.h"

#include "commands/VrelFlashUtils.h"
#include "tools/common/VendorApi.h"

bool runInProcess(VrelManager& manager, VrelFlashUtils& command, QString const& serial, LogHandler& log)
{
    VrelApiManager const api = VendorApi::fetch(manager, log);
    return api && command.run(api, serial, log);
}
