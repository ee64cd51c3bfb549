#include "commands/VrelSetCapabilities.h"

#include "commands/support/VrelProcedure.h"

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
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"capabilities", "file"}, &Self::m_capabilitiesPath},
    };
    return kRows;
}

bool VrelSetCapabilities::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    return Procedure("Set Capabilities", api, log)
        .carryOut(&IVrelAPI::setCapabilities, m_fwModulePath, m_capabilitiesPath, serial);
}

} // namespace VrelUtilsCommand
