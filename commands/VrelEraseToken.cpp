#include "commands/VrelEraseToken.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelEraseToken::getUsage()
{
    return QStringLiteral("\terasetoken\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --slot arg            target slot index\n");
}

ParameterTable<VrelEraseToken> VrelEraseToken::parameters()
{
    using Self = VrelEraseToken;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"slot", "uint8_t"}, &Self::m_slot},
    };
    return kRows;
}

bool VrelEraseToken::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    return Procedure("ERASE TOKEN", api, log).carryOut(&IVrelAPI::eraseToken, m_fwModulePath, m_slot, serial);
}

} // namespace VrelUtilsCommand
