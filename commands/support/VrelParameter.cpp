#include "commands/support/VrelParameter.h"

#include <algorithm>

namespace VrelUtilsCommand {

namespace {

/** How a JSON name stands in a message: bare where a request is read, quoted where it is copied. */
enum class KeyStyle
{
    Bare,
    Quoted
};

QString parameterMessage(char const* fault, ParameterRule const& rule, KeyStyle style)
{
    char const* const pattern =
        style == KeyStyle::Bare ? "%1 value for %2 parameter" : "%1 value for '%2' parameter";
    return QString::fromLatin1(pattern).arg(QLatin1String(fault), rule.keyText());
}

/** Judges the result of a typed read; logs what is wrong. */
bool judge(ParameterRule const& rule, int readResult, bool isEmptyText, LogHandler& log)
{
    char const* fault = nullptr;
    if (readResult == JsonObject::Unusable)
        fault = "Invalid";
    else if (readResult == JsonObject::Absent && !rule.has(ParameterRule::Optional))
        fault = "Missing";
    else if (readResult == JsonObject::Present && isEmptyText && rule.has(ParameterRule::RejectEmpty))
        fault = "Empty";
    if (fault == nullptr)
        return true;
    log.logMessage(kErrorLevel, parameterMessage(fault, rule, KeyStyle::Bare));
    return false;
}

/** From the entry itself: no read of the host's comes between a name and its judgement. */
int readDeviceType(JsonObject const& params, QString const& key, DeviceType& value)
{
    auto const entry =
        std::find_if(params.begin(), params.end(), [&key](auto const& each) { return each.first == key; });
    if (entry == params.end())
        return JsonObject::Absent;
    if (!entry->second.canConvert<QString>())
        return JsonObject::Unusable;
    auto const types = getStringToDeviceTypeMap();
    auto const type = types.find(entry->second.toString());
    if (type == types.end())
        return JsonObject::Unusable;
    value = type->second;
    return JsonObject::Present;
}

} // namespace

bool readParameter(ParameterRule const& rule, JsonObject const& params, QString& value, LogHandler& log)
{
    int const readResult = params.getString(rule.keyText(), value);
    return judge(rule, readResult, value.isEmpty(), log);
}

bool readParameter(ParameterRule const& rule, JsonObject const& params, unsigned char& value, LogHandler& log)
{
    return judge(rule, params.getUInt8(rule.keyText(), value), false, log);
}

bool readParameter(ParameterRule const& rule, JsonObject const& params, unsigned int& value, LogHandler& log)
{
    return judge(rule, params.getUInt32(rule.keyText(), value), false, log);
}

bool readParameter(ParameterRule const& rule, JsonObject const& params, DeviceType& value, LogHandler& log)
{
    return judge(rule, readDeviceType(params, rule.keyText(), value), false, log);
}

bool copyParameter(ParameterRule const& rule, JsonObject const& params, JsonObject& copy, QString& error)
{
    QVariant value;
    switch (params.getValue(rule.keyText(), value)) {
    case JsonObject::Present:
        copy.setValue(rule.keyText(), value);
        return true;
    case JsonObject::Unusable:
        error = parameterMessage("Invalid", rule, KeyStyle::Quoted);
        return false;
    case JsonObject::Absent:
        if (rule.has(ParameterRule::Optional))
            return true;
        error = parameterMessage("Missing", rule, KeyStyle::Quoted);
        return false;
    default:
        return true;
    }
}

void storeParameter(ParameterRule const& rule, QString const& value, JsonObject& params)
{
    if (!value.isEmpty() || !rule.has(ParameterRule::OmitEmpty))
        params.setValue(rule.keyText(), value);
}

void storeParameter(ParameterRule const& rule, unsigned char value, JsonObject& params)
{
    params.setValue(rule.keyText(), value);
}

void storeParameter(ParameterRule const& rule, unsigned int value, JsonObject& params)
{
    params.setValue(rule.keyText(), value);
}

void storeParameter(ParameterRule const& rule, DeviceType value, JsonObject& params)
{
    params.setValue<DeviceType>(rule.keyText(), getDeviceTypeToStringMap(), value);
}

QStringList deviceTypeNames()
{
    QStringList names;
    for (auto const& entry : getStringToDeviceTypeMap())
        names << entry.first;
    return names;
}

} // namespace VrelUtilsCommand
