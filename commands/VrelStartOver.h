#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "startover": has a device start its download sequence over. */
class VrelStartOver : public VrelTableCommand<VrelStartOver>
{
public:
    static constexpr char const* kCommandId = "startover";

    bool run(VrelApiManager api, QString const& serial, LogHandler& log) const override;

    static QString getUsage();
    static ParameterTable<VrelStartOver> parameters();

private:
    unsigned int m_flags = 0;
};

} // namespace VrelUtilsCommand
