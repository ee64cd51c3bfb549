#include "commands/VrelCommand.h"

#include "commands/VrelEnumerate.h"
#include "commands/VrelEraseToken.h"
#include "commands/VrelFwRecCommand.h"
#include "commands/VrelReadToken.h"
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
    Factories factories;
    add<VrelEraseToken>(factories);
    add<VrelFwRecCommand>(factories);
    add<VrelReadToken>(factories);
    add<VrelWriteToken>(factories);
    add<VrelEnumerate>(factories);
    return factories;
}

} // namespace VrelUtilsCommand
