#include "commands/VrelDownloadFwOs.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelDownloadFwOs::getUsage()
{
    return QStringLiteral("\tdownloadfwos\n"
                          "\t    --fw_rux arg          path to FW recovery module\n"
                          "\t    --fw_image arg        path to FW image\n"
                          "\t    --flags arg [= 0]     [Optional] FW download command flags\n"
                          "\t    --os_rux arg          [Optional] path to OS recovery module\n"
                          "\t    --os_image arg        [Optional] path to OS image\n");
}

ParameterTable<VrelDownloadFwOs> VrelDownloadFwOs::parameters()
{
    using Self = VrelDownloadFwOs;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"fw_image", "file", ParameterRule::RejectEmpty}, &Self::m_fwImagePath},
        {{"os_rux", "[file]", ParameterRule::Optional | ParameterRule::OmitEmpty}, &Self::m_osModulePath},
        {{"os_image", "[file]", ParameterRule::Optional | ParameterRule::OmitEmpty}, &Self::m_osImagePath},
        {{"flags", "[uint32_t]", ParameterRule::Optional}, &Self::m_flags},
    };
    return kRows;
}

bool VrelDownloadFwOs::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    std::uint32_t flags = m_flags;
    return Procedure("DOWNLOADFWOS", api, log)
        .carryOut(&IVrelAPI::downloadFwOs, m_fwModulePath, m_fwImagePath, &flags, m_osModulePath,
                  m_osImagePath, serial);
}

} // namespace VrelUtilsCommand
