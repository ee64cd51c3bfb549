#include "commands/VrelProcedure.h"

#include "commands/VrelRuxModule.h"
#include "plugin/VrelLogLevel.h"

namespace VrelUtilsCommand {

void logModuleVersion(QString const& modulePath, LogHandler& log)
{
    log.logMessage(VrelLogLevel::kProgress,
                   QStringLiteral("RuX module version: ") + getRuxModuleVersion(modulePath));
}

Procedure::Procedure(char const* name, LogHandler& log)
    : m_name(QLatin1String(name))
    , m_log(log)
{
    m_log.logMessage(VrelLogLevel::kProgress,
                     QStringLiteral("Starting ") + m_name + QStringLiteral(" procedure"));
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
    m_log.logMessage(VrelLogLevel::kProgress, m_name + QStringLiteral(" procedure success"));
}

bool Procedure::conclude(int result) const
{
    if (!succeeded(result))
        return false;
    logSuccess();
    return true;
}

} // namespace VrelUtilsCommand
