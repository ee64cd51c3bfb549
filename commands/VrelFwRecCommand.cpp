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
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"ifp-path", "file", ParameterRule::RejectEmpty}, &Self::m_ifpPath},
    };
    return kRows;
}

bool VrelFwRecCommand::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    logProgress(log, "IFP emulation file: ", m_ifpPath);
    // Whatever a file does not give stays zero: the vendor API judges the record.
    VrelIfpRecord ifp = {};
    if (!readFirstBytes(m_ifpPath, ifp.bytes, sizeof ifp.bytes)) {
        log.logMessage(kErrorLevel,
                       QStringLiteral("Nobody has opened the pipe '%1' for writing; nothing was downloaded")
                           .arg(m_ifpPath));
        return false;
    }
    return Procedure("DOWNLOAD FW RECOVERY MODULE", api, log)
        .carryOut(&IVrelAPI::fwRecovery, m_fwModulePath, serial, &ifp);
}

} // namespace VrelUtilsCommand
