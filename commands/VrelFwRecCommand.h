#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "fwrec": downloads a recovery module together with an IFP emulation record. */
class VrelFwRecCommand : public VrelTableCommand<VrelFwRecCommand>
{
public:
    static constexpr char const* kCommandId = "fwrec";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelFwRecCommand> parameters();

private:
    QString m_fwModulePath;
    QString m_ifpPath;
};

} // namespace VrelUtilsCommand
