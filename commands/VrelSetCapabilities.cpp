#include "commands/VrelSetCapabilities.h"

#include "commands/support/VrelLogCallback.h"
#include "commands/support/VrelProcedure.h"
#include "external/IVrelAPI.h"

namespace VrelUtilsCommand {

QString VrelSetCapabilities::getUsage()
{
    return QStringLiteral("\tsetcapabilities\n"
                          "\t    --fw_rux arg                  path to fw recovery module\n"
                          "\t    --capabilities arg            path to capabilities token\n");
}

ParameterTable<VrelSetCapabilities> VrelSetCapabilities::parameters()
{
    using Self = VrelSetCapabilities;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"capabilities", ParameterType::File}, &Self::m_capabilitiesPath},
    };
    return kRows;
}

bool VrelSetCapabilities::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    Procedure procedure("Set Capabilities", log);
    return procedure.conclude(api->setCapabilities(Utf8(m_fwModulePath), Utf8(m_capabilitiesPath),
                                                   Utf8(serial), procedure.errorText(), vrelLogCallback,
                                                   &log));
}

} // namespace VrelUtilsCommand
