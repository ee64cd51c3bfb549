#include "commands/VrelFwRecCommand.h"

#include "commands/support/VrelFileBytes.h"
#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelFwRecCommand::getUsage()
{
    return QStringLiteral("\tfwrec\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --ifp-path arg        path to IFP emulation file\n");
}

ParameterTable<VrelFwRecCommand> VrelFwRecCommand::parameters()
{
    using Self = VrelFwRecCommand;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"ifp-path", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_ifpPath},
    };
    return kRows;
}

bool VrelFwRecCommand::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    logProgress(log, "IFP emulation file: ", m_ifpPath);
    // Whatever the file does not give stays zero: the vendor API judges the record.
    VrelIfpRecord ifp = {};
    readFileBytes(m_ifpPath, 0, ifp.bytes, sizeof ifp.bytes);
    return Procedure("DOWNLOAD FW RECOVERY MODULE", api, log)
        .carryOut(&IVrelAPI::fwRecovery, m_fwModulePath, serial, &ifp);
}

} // namespace VrelUtilsCommand
