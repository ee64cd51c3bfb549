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
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"idx", ParameterType::UInt32}, &Self::m_deviceIndex},
        {{"device", ParameterType::DeviceName}, &Self::m_deviceType},
    };
    return kRows;
}

bool VrelClearRpmbCommand::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    logStorageDevice(m_deviceType, m_deviceIndex, log);
    return Procedure("CLEAR RPMB", api, log)
        .carryOut(&IVrelAPI::clearRpmb, m_fwModulePath, m_deviceType, m_deviceIndex, serial);
}

} // namespace VrelUtilsCommand
