#include "commands/VrelDownloadOemKeyManifest.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelDownloadOemKeyManifest::getUsage()
{
    return QStringLiteral("\tdownloadoemkeymanifest\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --key arg             path to key manifest\n");
}

ParameterTable<VrelDownloadOemKeyManifest> VrelDownloadOemKeyManifest::parameters()
{
    using Self = VrelDownloadOemKeyManifest;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"key", "file"}, &Self::m_keyManifestPath},
    };
    return kRows;
}

bool VrelDownloadOemKeyManifest::carryOut(VrelApiManager const& api, QString const& serial,
                                          LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    return Procedure("DownloadOemKeyManifest", api, log)
        .carryOut(&IVrelAPI::downloadOemKeyManifest, m_fwModulePath, m_keyManifestPath, serial);
}

} // namespace VrelUtilsCommand
