#include "commands/VrelConfigPart.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelConfigPart::getUsage()
{
    return QStringLiteral("\tconfigpart\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --path arg            path to configuration file (xml format)\n"
                          "\t    --device arg          device type (values: emmc, ufs, ufs_hpb)\n"
                          "\t    --idx arg [= 0]       [Optional] device index\n");
}

ParameterTable<VrelConfigPart> VrelConfigPart::parameters()
{
    using Self = VrelConfigPart;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"path", "file", ParameterRule::RejectEmpty}, &Self::m_configPath},
        {{"device", kDeviceNames, ParameterRule::CopyLast}, &Self::m_deviceType},
        {{"idx", "uint8_t", ParameterRule::Optional}, &Self::m_deviceIndex},
    };
    return kRows;
}

bool VrelConfigPart::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    if (!serial.isEmpty())
        logProgress(log, "Device serial: ", serial);
    logStorageDevice(m_deviceType, m_deviceIndex, log);
    bool const configured = Procedure("CONFIG DEVICE", api, log)
                                .carryOut(&IVrelAPI::configPartitions, m_fwModulePath, m_configPath,
                                          m_deviceType, m_deviceIndex, serial);
    if (!configured && m_deviceType == DeviceType::emmc)
        log.logMessage(kErrorLevel, "eMMC configuration failed: it may already be configured");
    return configured;
}

} // namespace VrelUtilsCommand
