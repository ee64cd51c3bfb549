#include "commands/VrelCommand.h"

#include <QStringList>

namespace VrelUtilsCommand {

std::map<QString, VrelCommand::CommandFactory*> const VrelCommand::ms_kFactories = initCommandFactories();

/** Deletes the factories at unload, before the map that holds them goes. */
struct VrelCommand::FactoryTeardown
{
    ~FactoryTeardown()
    {
        for (auto const& entry : ms_kFactories)
            delete entry.second;
    }
};

VrelCommand::FactoryTeardown const VrelCommand::ms_kTeardown;

VrelCommand::~VrelCommand() = default;

VrelCommand::CommandFactory::~CommandFactory() = default;

VrelCommand::CommandFactory* VrelCommand::findFactory(QString const& id)
{
    auto const entry = ms_kFactories.find(id);
    return entry == ms_kFactories.end() ? nullptr : entry->second;
}

VrelCommand* VrelCommand::createCommandFromId(QString const& id)
{
    CommandFactory* const factory = findFactory(id);
    return factory == nullptr ? nullptr : factory->allocateCommand();
}

JsonObject VrelCommand::getParameterTypes(QString const& id)
{
    CommandFactory* const factory = findFactory(id);
    return factory == nullptr ? JsonObject() : factory->getParameterTypes();
}

JsonObject VrelCommand::getParameters(JsonObject const& params, QString& error)
{
    QString const commandKey = QStringLiteral("command");
    QString id;
    if (params.getString(commandKey, id) != JsonObject::Present)
        return JsonObject();
    CommandFactory* const factory = findFactory(id);
    if (factory == nullptr)
        return JsonObject();
    JsonObject result = factory->getParameters(params, error);
    if (!result.empty())
        result.setValue(commandKey, id);
    return result;
}

QString VrelCommand::getUsages()
{
    QStringList usages;
    for (auto const& [id, factory] : ms_kFactories) {
        QString const usage = factory->getUsage();
        if (!usage.isEmpty())
            usages << usage;
    }
    return usages.join(QLatin1Char('\n'));
}

} // namespace VrelUtilsCommand
