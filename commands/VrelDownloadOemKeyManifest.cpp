#include "commands/VrelDownloadOemKeyManifest.h"

#include "commands/support/VrelLogCallback.h"
#include "commands/support/VrelProcedure.h"
#include "external/IVrelAPI.h"

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
        {{"fw_rux", ParameterType::File, ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"key", ParameterType::File}, &Self::m_keyManifestPath},
    };
    return kRows;
}

bool VrelDownloadOemKeyManifest::run(VrelApiManager api, QString const& serial, LogHandler& log) const
{
    if (!canRun(api))
        return false;
    logModuleVersion(m_fwModulePath, log);
    Procedure procedure("DownloadOemKeyManifest", log);
    return procedure.conclude(api->downloadOemKeyManifest(Utf8(m_fwModulePath), Utf8(m_keyManifestPath),
                                                          Utf8(serial), procedure.errorText(),
                                                          vrelLogCallback, &log));
}

} // namespace VrelUtilsCommand
