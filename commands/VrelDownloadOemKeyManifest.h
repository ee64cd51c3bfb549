#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "downloadoemkeymanifest": downloads an OEM key manifest. */
class VrelDownloadOemKeyManifest : public VrelTableCommand<VrelDownloadOemKeyManifest>
{
public:
    static constexpr char const* kCommandId = "downloadoemkeymanifest";

    bool run(VrelApiManager api, QString const& serial, LogHandler& log) const override;

    static QString getUsage();
    static ParameterTable<VrelDownloadOemKeyManifest> parameters();

private:
    QString m_fwModulePath;
    QString m_keyManifestPath;
};

} // namespace VrelUtilsCommand
