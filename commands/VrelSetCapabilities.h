#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "setcapabilities": applies a capabilities token. */
class VrelSetCapabilities : public VrelTableCommand<VrelSetCapabilities>
{
public:
    static constexpr char const* kCommandId = "setcapabilities";

    bool run(VrelApiManager api, QString const& serial, LogHandler& log) const override;

    static QString getUsage();
    static ParameterTable<VrelSetCapabilities> parameters();

private:
    QString m_fwModulePath;
    QString m_capabilitiesPath;
};

} // namespace VrelUtilsCommand
