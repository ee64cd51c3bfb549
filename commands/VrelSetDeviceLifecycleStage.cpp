#include "commands/VrelSetDeviceLifecycleStage.h"

#include "commands/support/VrelLogCallback.h"
#include "commands/support/VrelProcedure.h"
#include "external/IVrelAPI.h"

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
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"token", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_tokenPath},
    };
    return kRows;
}

bool VrelSetDeviceLifecycleStage::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    Procedure procedure("SET DEVICE LIFECYCLE STAGE", log);
    return procedure.conclude(api->setDeviceLifecycleStage(
        Utf8(m_fwModulePath), Utf8(m_tokenPath), Utf8(serial), procedure.errorText(), vrelLogCallback, &log));
}

} // namespace VrelUtilsCommand
