#include "commands/VrelReadToken.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelReadToken::getUsage()
{
    return QStringLiteral("\treadtoken\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --path arg            target token path\n"
                          "\t    --slot arg            target slot index\n");
}

ParameterTable<VrelReadToken> VrelReadToken::parameters()
{
    using Self = VrelReadToken;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"path", ParameterType::File, ParameterRule::RejectEmpty | ParameterRule::CopyLast},
         &Self::m_targetPath},
        {{"slot", ParameterType::UInt8}, &Self::m_slot},
    };
    return kRows;
}

bool VrelReadToken::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    return Procedure("READ TOKEN", api, log)
        .carryOut(&IVrelAPI::readToken, m_fwModulePath, m_targetPath, m_slot, serial);
}

} // namespace VrelUtilsCommand
