#pragma once

#include "commands/VrelCommandTpl.h"

namespace VrelUtilsCommand {

/** "downloadoemkeymanifest": downloads an OEM key manifest. */
class VrelDownloadOemKeyManifest : public VrelCommandTpl<VrelDownloadOemKeyManifest>
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
