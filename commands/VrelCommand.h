#pragma once

#include "external/JsonObject.h"
#include "external/LogHandler.h"
#include "plugin/VrelApiManager.h"

#include <QString>

#include <map>

namespace VrelUtilsCommand {

/**
 * One provisioning, flashing or query command. Made by name from the registry, given its parameters once or
 * more often, and run any number of times. An object is used by one thread at a time.
 */
class VrelCommand
{
public:
    class CommandFactory;
    template <typename T>
    class CommandFactoryTpl;

    virtual ~VrelCommand();

    /**
     * Reads and checks the parameters of a request. Every bad one is logged at level 1, in the command's
     * order; only when all are good do they replace the stored ones.
     */
    virtual bool parseArguments(JsonObject const& params, LogHandler& log) = 0;

    /**
     * Carries the command out on the device with that serial number; blocks for the length of the operation.
     * An object without accepted parameters yields false with nothing logged, and so does a handle without an
     * API object, but for "enumerate", which logs "API already in use" at level 1.
     */
    virtual bool run(VrelApiManager api, QString const& serial, LogHandler& log) const = 0;

    /** The name under which the command is registered. */
    virtual QString getCommandId() const = 0;

    /** The stored parameters by their JSON names; empty without accepted ones. */
    virtual JsonObject getParameters() const = 0;

    /** Whether parameters were accepted. */
    bool isValid() const { return m_valid; }

    /** A new command owned by the caller; null for a name that is not registered. */
    static VrelCommand* createCommandFromId(QString const& id);
    /** JSON name → type word or list of accepted names; empty for a name that is not registered. */
    static JsonObject getParameterTypes(QString const& id);
    /**
     * Copies a command's parameters out of a request without checking their values, and adds "command" when
     * there are any.
     * @param error why the result is empty, when a parameter is missing or unusable; otherwise unchanged
     */
    static JsonObject getParameters(JsonObject const& params, QString& error);
    /** The usage texts of all registered commands, one after the other in the order of their names. */
    static QString getUsages();
    /** Builds the registry: one factory per command, by name. */
    static std::map<QString, CommandFactory*> initCommandFactories();

protected:
    VrelCommand()
        : m_valid(false)
    {
    }
    VrelCommand(VrelCommand const&) = default;
    VrelCommand& operator=(VrelCommand const&) = default;

    bool m_valid : 1; ///< set once parameters were accepted, never cleared

private:
    static CommandFactory* findFactory(QString const& id);

    struct FactoryTeardown;

    static std::map<QString, CommandFactory*> const ms_kFactories;
    static FactoryTeardown const ms_kTeardown;
};

/** What the registry keeps of a command: how to make one, and how to describe it without one. */
class VrelCommand::CommandFactory
{
public:
    virtual ~CommandFactory();
    /** A new command without parameters, owned by the caller. */
    virtual VrelCommand* allocateCommand() = 0;
    virtual JsonObject getParameterTypes() = 0;
    virtual JsonObject getParameters(JsonObject const& params, QString& error) = 0;
    virtual QString getUsage() = 0;
};

/** The factory of the command class T. */
template <typename T>
class VrelCommand::CommandFactoryTpl : public CommandFactory
{
public:
    VrelCommand* allocateCommand() override { return new T(); }
    JsonObject getParameterTypes() override { return T::getParameterTypes(); }
    JsonObject getParameters(JsonObject const& params, QString& error) override
    {
        return T::getParameters(params, error);
    }
    QString getUsage() override { return T::getUsage(); }
};

} // namespace VrelUtilsCommand
