#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "gettokenpid": reads the values that a token is made for. */
class VrelGetTokenPid : public VrelTableCommand<VrelGetTokenPid>
{
public:
    static constexpr char const* kCommandId = "gettokenpid";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelGetTokenPid> parameters();

private:
    QString m_fwModulePath;
    unsigned int m_flags = 0;
};

} // namespace VrelUtilsCommand
