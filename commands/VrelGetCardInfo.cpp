#include "commands/VrelGetCardInfo.h"

#include "commands/cardreport/VrelCardReport.h"
#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelGetCardInfo::getUsage()
{
    return QStringLiteral("\tgetcardinfo\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --path arg            [Optional] path to the target binary, if path not "
                          "specified output to screen\n"
                          "\t    --device arg          device type (values: emmc, spi, ufs, ufs_hpb)\n"
                          "\t    --idx arg             device index\n");
}

ParameterTable<VrelGetCardInfo> VrelGetCardInfo::parameters()
{
    using Self = VrelGetCardInfo;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"path", "file", ParameterRule::Optional}, &Self::m_outputPath},
        {{"device", kDeviceNames}, &Self::m_deviceType},
        {{"idx", "uint8_t"}, &Self::m_deviceIndex},
    };
    return kRows;
}

bool VrelGetCardInfo::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    logStorageDevice(m_deviceType, m_deviceIndex, log);
    Procedure procedure("GET CARD INFO", api, log);
    std::uint8_t type = deviceCode(m_deviceType);
    if (!m_outputPath.isEmpty())
        return procedure.carryOut(&IVrelAPI::getCardInfoToFile, m_fwModulePath, &type, m_deviceIndex,
                                  m_outputPath, serial);

    // Zero wherever the vendor API fills less than it claims.
    VrelCardInfo info = {};
    std::uint32_t size = sizeof info.bytes;
    if (!procedure.attempt(&IVrelAPI::getCardInfo, m_fwModulePath, &type, m_deviceIndex, &info, &size,
                           serial))
        return false;
    log.logMessage(kProgressLevel, cardReport(m_deviceType, info.bytes, size));
    procedure.logSuccess();
    return true;
}

} // namespace VrelUtilsCommand
