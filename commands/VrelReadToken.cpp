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
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"path", "file", ParameterRule::RejectEmpty | ParameterRule::CopyLast}, &Self::m_targetPath},
        {{"slot", "uint8_t"}, &Self::m_slot},
    };
    return kRows;
}

bool VrelReadToken::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    return Procedure("READ TOKEN", api, log)
        .carryOut(&IVrelAPI::readToken, m_fwModulePath, m_targetPath, m_slot, serial);
}

} // namespace VrelUtilsCommand
