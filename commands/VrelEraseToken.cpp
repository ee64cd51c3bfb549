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
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"slot", ParameterType::UInt8}, &Self::m_slot},
    };
    return kRows;
}

bool VrelEraseToken::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    return Procedure("ERASE TOKEN", api, log).carryOut(&IVrelAPI::eraseToken, m_fwModulePath, m_slot, serial);
}

} // namespace VrelUtilsCommand
