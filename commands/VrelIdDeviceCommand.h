#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "iddevice": asks a device to identify itself. */
class VrelIdDeviceCommand : public VrelTableCommand<VrelIdDeviceCommand>
{
public:
    static constexpr char const* kCommandId = "iddevice";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelIdDeviceCommand> parameters();

private:
    unsigned int m_flags = 0;
    QString m_ifpPath;
};

} // namespace VrelUtilsCommand
