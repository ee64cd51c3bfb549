#include "commands/support/VrelProcedure.h"

#include "commands/support/VrelRuxModule.h"
#include "plugin/VrelLogLevel.h"

namespace VrelUtilsCommand {

void logProgress(LogHandler& log, char const* text, QString const& value)
{
    log.logMessage(VrelLogLevel::kProgress, QLatin1String(text) + value);
}

void logModuleVersion(QString const& modulePath, LogHandler& log)
{
    logProgress(log, "RuX module version: ", getRuxModuleVersion(modulePath));
}

Procedure::Procedure(char const* name, LogHandler& log)
    : m_name(QLatin1String(name))
    , m_log(log)
{
    logProgress(m_log, "Starting ", m_name + QStringLiteral(" procedure"));
}

bool Procedure::succeeded(int result) const
{
    if (result == 0)
        return true;
    m_log.logMessage(VrelLogLevel::kError, VrelErrorText::orReplacement(m_errorText.text()));
    return false;
}

void Procedure::logSuccess() const
{
    logProgress(m_log, "", m_name + QStringLiteral(" procedure success"));
}

bool Procedure::conclude(int result) const
{
    if (!succeeded(result))
        return false;
    logSuccess();
    return true;
}

} // namespace VrelUtilsCommand
