#include "commands/VrelSetDeviceLifecycleStage.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelSetDeviceLifecycleStage::getUsage()
{
    return QStringLiteral("\tsetdevicelifecyclestage\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --token arg           path to the token\n");
}

ParameterTable<VrelSetDeviceLifecycleStage> VrelSetDeviceLifecycleStage::parameters()
{
    using Self = VrelSetDeviceLifecycleStage;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"token", "file", ParameterRule::RejectEmpty}, &Self::m_tokenPath},
    };
    return kRows;
}

bool VrelSetDeviceLifecycleStage::carryOut(VrelApiManager const& api, QString const& serial,
                                           LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    return Procedure("SET DEVICE LIFECYCLE STAGE", api, log)
        .carryOut(&IVrelAPI::setDeviceLifecycleStage, m_fwModulePath, m_tokenPath, serial);
}

} // namespace VrelUtilsCommand
