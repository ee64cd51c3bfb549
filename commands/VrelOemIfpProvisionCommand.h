#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "oemifpprovision": provisions an OEM IFP block. */
class VrelOemIfpProvisionCommand : public VrelTableCommand<VrelOemIfpProvisionCommand>
{
public:
    static constexpr char const* kCommandId = "oemifpprovision";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelOemIfpProvisionCommand> parameters();

private:
    QString m_fwModulePath;
    QString m_tokenPath;
};

} // namespace VrelUtilsCommand
