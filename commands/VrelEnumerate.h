#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "enumerate": lists the devices that the vendor API sees, one line per device. */
class VrelEnumerate : public VrelTableCommand<VrelEnumerate>
{
public:
    static constexpr char const* kCommandId = "enumerate";

    bool run(VrelApiManager api, QString const& serial, LogHandler& log) const override;

    static QString getUsage();
    static ParameterTable<VrelEnumerate> parameters() { return {}; }
};

} // namespace VrelUtilsCommand
