#include "commands/VrelOemIfpProvisionCommand.h"

#include "commands/support/VrelLogCallback.h"
#include "commands/support/VrelProcedure.h"
#include "external/IVrelAPI.h"

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
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"token", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_tokenPath},
    };
    return kRows;
}

bool VrelOemIfpProvisionCommand::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    Procedure procedure("OEM IFP PROVISION", log);
    return procedure.conclude(api->oemIfpProvision(Utf8(m_fwModulePath), Utf8(m_tokenPath), Utf8(serial),
                                                   procedure.errorText(), vrelLogCallback, &log));
}

} // namespace VrelUtilsCommand
