#include "commands/VrelGetTokenPid.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelGetTokenPid::getUsage()
{
    return QStringLiteral("\tgettokenpid\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --flags arg [= 0]     [Optional] fw download command flags\n");
}

ParameterTable<VrelGetTokenPid> VrelGetTokenPid::parameters()
{
    using Self = VrelGetTokenPid;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"flags", "[uint32_t]", ParameterRule::Optional}, &Self::m_flags},
    };
    return kRows;
}

bool VrelGetTokenPid::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    VrelTokenPartId partId = {};
    std::uint32_t nonce = 0;
    std::uint32_t trustedTime = 0;
    std::uint32_t deviceId = 0;
    std::uint32_t oemId = 0;
    logModuleVersion(m_fwModulePath, log);
    logProgress(log, "Flags: ", QString::number(m_flags));
    if (!Procedure("GET TOKEN PART ID", api, log)
             .carryOut(&IVrelAPI::getTokenPid, m_fwModulePath, m_flags, &partId, &nonce, &trustedTime,
                       &deviceId, &oemId, serial))
        return false;
    logProgress(log, "OEM platform ID: ", paddedHex(oemId));
    log.logMessage(kProgressLevel, QStringLiteral("Device ID: "), QString::number(deviceId, 16));
    logProgress(log, "Token Part ID: ", hexDigits(partId.bytes));
    log.logMessage(kProgressLevel, QStringLiteral("Trusted time: "), paddedHex(trustedTime));
    log.logMessage(kProgressLevel, QStringLiteral("Nonce: "), paddedHex(nonce));
    return true;
}

} // namespace VrelUtilsCommand
