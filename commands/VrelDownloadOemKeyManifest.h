#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "downloadoemkeymanifest": downloads an OEM key manifest. */
class VrelDownloadOemKeyManifest : public VrelTableCommand<VrelDownloadOemKeyManifest>
{
public:
    static constexpr char const* kCommandId = "downloadoemkeymanifest";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelDownloadOemKeyManifest> parameters();

private:
    QString m_fwModulePath;
    QString m_keyManifestPath;
};

} // namespace VrelUtilsCommand
