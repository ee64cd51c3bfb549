#include "commands/VrelClearRpmbCommand.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelClearRpmbCommand::getUsage()
{
    return QStringLiteral("\tclearrpmb\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --device arg          device type (values: ") +
           deviceTypeNames().join(QLatin1String(", ")) +
           QStringLiteral(")\n"
                          "\t    --idx arg             device index\n");
}

ParameterTable<VrelClearRpmbCommand> VrelClearRpmbCommand::parameters()
{
    using Self = VrelClearRpmbCommand;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"idx", "uint32_t"}, &Self::m_deviceIndex},
        {{"device", kDeviceNames}, &Self::m_deviceType},
    };
    return kRows;
}

bool VrelClearRpmbCommand::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    logStorageDevice(m_deviceType, m_deviceIndex, log);
    return Procedure("CLEAR RPMB", api, log)
        .carryOut(&IVrelAPI::clearRpmb, m_fwModulePath, m_deviceType, m_deviceIndex, serial);
}

} // namespace VrelUtilsCommand
