#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "setcapabilities": applies a capabilities token. */
class VrelSetCapabilities : public VrelTableCommand<VrelSetCapabilities>
{
public:
    static constexpr char const* kCommandId = "setcapabilities";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelSetCapabilities> parameters();

private:
    QString m_fwModulePath;
    QString m_capabilitiesPath;
};

} // namespace VrelUtilsCommand
