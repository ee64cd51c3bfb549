#include "commands/VrelWriteToken.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelWriteToken::getUsage()
{
    return QStringLiteral("\twritetoken\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --token arg           path to the token\n"
                          "\t    --slot arg            target slot index\n");
}

ParameterTable<VrelWriteToken> VrelWriteToken::parameters()
{
    using Self = VrelWriteToken;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"token", "file", ParameterRule::RejectEmpty}, &Self::m_tokenPath},
        {{"slot", "uint8_t"}, &Self::m_slot},
    };
    return kRows;
}

bool VrelWriteToken::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    return Procedure("WRITE TOKEN", api, log)
        .carryOut(&IVrelAPI::writeToken, m_fwModulePath, m_tokenPath, m_slot, serial);
}

} // namespace VrelUtilsCommand
