#pragma once

#include "commands/VrelCommand.h"
#include "commands/support/VrelParameter.h"

namespace VrelUtilsCommand {

/**
 * What all commands share. A command class T derives from VrelTableCommand<T> and gives
 * - `kCommandId`: its name;
 * - `getUsage()`: its usage text;
 * - `parameters()`: the table of its parameters, from which everything about them follows;
 * - `carryOut`: its course, once parameters are accepted and, unless it sets `kNeedsApi` to false, there is
 * an API object. The values after construction are the defaults of optional parameters.
 */
template <typename T>
class VrelTableCommand : public VrelCommand
{
public:
    static constexpr bool kNeedsApi = true;

    bool parseArguments(JsonObject const& params, LogHandler& log) override
    {
        T parsed;
        bool accepted = true;
        for (Parameter<T> const& parameter : T::parameters()) {
            auto const read = [&](auto field) {
                return readParameter(parameter.rule, params, parsed.*field, log);
            };
            accepted = std::visit(read, parameter.field) && accepted;
        }
        if (accepted) {
            static_cast<T&>(*this) = parsed;
            m_valid = true;
        }
        return accepted;
    }

    bool run(VrelApiManager api, QString const& serial, LogHandler& log) const override
    {
        return isValid() && (api || !T::kNeedsApi) && static_cast<T const&>(*this).carryOut(api, serial, log);
    }

    QString getCommandId() const override { return QLatin1String(T::kCommandId); }

    JsonObject getParameters() const override
    {
        JsonObject params;
        if (!m_valid)
            return params;
        T const& self = static_cast<T const&>(*this);
        for (Parameter<T> const& parameter : T::parameters()) {
            auto const store = [&](auto field) { storeParameter(parameter.rule, self.*field, params); };
            std::visit(store, parameter.field);
        }
        return params;
    }

    static JsonObject getParameterTypes()
    {
        JsonObject types;
        for (Parameter<T> const& parameter : T::parameters()) {
            if (std::holds_alternative<DeviceType T::*>(parameter.field))
                types.setValue(parameter.rule.keyText(), deviceTypeNames());
            else
                types.setValue(parameter.rule.keyText(), parameter.rule.type);
        }
        return types;
    }

    static JsonObject getParameters(JsonObject const& params, QString& error)
    {
        JsonObject copy;
        for (bool const last : {false, true}) {
            for (Parameter<T> const& parameter : T::parameters()) {
                if (parameter.rule.has(ParameterRule::CopyLast) == last &&
                    !copyParameter(parameter.rule, params, copy, error))
                    return JsonObject();
            }
        }
        return copy;
    }
};

} // namespace VrelUtilsCommand
