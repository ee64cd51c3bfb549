#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "downloadfwos": downloads a firmware image and optionally an OS image, each with its recovery module. */
class VrelDownloadFwOs : public VrelTableCommand<VrelDownloadFwOs>
{
public:
    static constexpr char const* kCommandId = "downloadfwos";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelDownloadFwOs> parameters();

private:
    QString m_fwModulePath;
    QString m_fwImagePath;
    QString m_osModulePath;
    QString m_osImagePath;
    unsigned int m_flags = 0;
};

} // namespace VrelUtilsCommand
