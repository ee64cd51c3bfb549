#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "startover": has a device start its download sequence over. */
class VrelStartOver : public VrelTableCommand<VrelStartOver>
{
public:
    static constexpr char const* kCommandId = "startover";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelStartOver> parameters();

private:
    unsigned int m_flags = 0;
};

} // namespace VrelUtilsCommand
