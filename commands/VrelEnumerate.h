#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "enumerate": lists the devices that the vendor API sees, one line per device. */
class VrelEnumerate : public VrelTableCommand<VrelEnumerate>
{
public:
    static constexpr char const* kCommandId = "enumerate";
    static constexpr bool kNeedsApi = false; ///< says itself that there is none

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelEnumerate> parameters() { return {}; }
};

} // namespace VrelUtilsCommand
