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
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"token", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_tokenPath},
        {{"slot", ParameterType::UInt8}, &Self::m_slot},
    };
    return kRows;
}

bool VrelWriteToken::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    return Procedure("WRITE TOKEN", api, log)
        .carryOut(&IVrelAPI::writeToken, m_fwModulePath, m_tokenPath, m_slot, serial);
}

} // namespace VrelUtilsCommand
