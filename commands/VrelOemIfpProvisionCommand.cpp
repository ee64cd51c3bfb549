#include "commands/VrelOemIfpProvisionCommand.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelOemIfpProvisionCommand::getUsage()
{
    return QStringLiteral("\toemifpprovision\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --token arg           path to the OEM IFP block\n");
}

ParameterTable<VrelOemIfpProvisionCommand> VrelOemIfpProvisionCommand::parameters()
{
    using Self = VrelOemIfpProvisionCommand;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"token", "file", ParameterRule::RejectEmpty}, &Self::m_tokenPath},
    };
    return kRows;
}

bool VrelOemIfpProvisionCommand::carryOut(VrelApiManager const& api, QString const& serial,
                                          LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    return Procedure("OEM IFP PROVISION", api, log)
        .carryOut(&IVrelAPI::oemIfpProvision, m_fwModulePath, m_tokenPath, serial);
}

} // namespace VrelUtilsCommand
