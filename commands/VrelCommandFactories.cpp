#include "commands/VrelCommand.h"

#include "commands/VrelClearRpmbCommand.h"
#include "commands/VrelConfigPart.h"
#include "commands/VrelDownloadFwOs.h"
#include "commands/VrelDownloadOemKeyManifest.h"
#include "commands/VrelEnumerate.h"
#include "commands/VrelEraseToken.h"
#include "commands/VrelFwRecCommand.h"
#include "commands/VrelGetCardInfo.h"
#include "commands/VrelGetTokenPid.h"
#include "commands/VrelIdDeviceCommand.h"
#include "commands/VrelOemIfpProvisionCommand.h"
#include "commands/VrelReadBootMedia.h"
#include "commands/VrelReadToken.h"
#include "commands/VrelSetCapabilities.h"
#include "commands/VrelStartOver.h"
#include "commands/VrelWriteToken.h"

namespace VrelUtilsCommand {

namespace {

using Factories = std::map<QString, VrelCommand::CommandFactory*>;

template <typename T>
void add(Factories& factories)
{
    factories.emplace(QLatin1String(T::kCommandId), new VrelCommand::CommandFactoryTpl<T>());
}

} // namespace

Factories VrelCommand::initCommandFactories()
{
    Factories factories; // sorts by name, so their order here means nothing
    add<VrelClearRpmbCommand>(factories);
    add<VrelConfigPart>(factories);
    add<VrelDownloadFwOs>(factories);
    add<VrelEraseToken>(factories);
    add<VrelFwRecCommand>(factories);
    add<VrelGetCardInfo>(factories);
    add<VrelGetTokenPid>(factories);
    add<VrelIdDeviceCommand>(factories);
    add<VrelOemIfpProvisionCommand>(factories);
    add<VrelReadBootMedia>(factories);
    add<VrelReadToken>(factories);
    add<VrelStartOver>(factories);
    add<VrelWriteToken>(factories);
    add<VrelEnumerate>(factories);
    add<VrelDownloadOemKeyManifest>(factories);
    add<VrelSetCapabilities>(factories);
    return factories;
}

} // namespace VrelUtilsCommand
