#include "commands/support/VrelProcedure.h"

#include "commands/support/VrelRuxModule.h"

namespace VrelUtilsCommand {

void logProgress(LogHandler& log, char const* text, QString const& value)
{
    log.logMessage(kProgressLevel, QLatin1String(text) + value);
}

void logModuleVersion(QString const& modulePath, LogHandler& log)
{
    logProgress(log, "RuX module version: ", getRuxModuleVersion(modulePath));
}

void logStorageDevice(DeviceType type, unsigned char index, LogHandler& log)
{
    auto const names = getDeviceTypeToStringMap();
    auto const name = names.find(type);
    if (name != names.end())
        logProgress(log, "Device type: ", name->second);
    logProgress(log, "Device index: ", QString::number(index));
}

QString paddedHex(std::uint32_t number)
{
    return QStringLiteral("%1").arg(number, 8, 16, QLatin1Char('0'));
}

Procedure::Procedure(char const* name, VrelApiManager const& api, LogHandler& log)
    : m_name(QLatin1String(name))
    , m_api(api)
    , m_log(log)
{
    logProgress(m_log, "Starting ", m_name + QStringLiteral(" procedure"));
}

void Procedure::logSuccess() const
{
    logProgress(m_log, "", m_name + QStringLiteral(" procedure success"));
}

bool Procedure::succeeded(int result, VrelErrorText const& errorText) const
{
    if (result == 0)
        return true;
    m_log.logMessage(kErrorLevel, VrelErrorText::orReplacement(errorText.text()));
    return false;
}

} // namespace VrelUtilsCommand
