#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "clearrpmb": clears the replay protected memory block of a storage device. */
class VrelClearRpmbCommand : public VrelTableCommand<VrelClearRpmbCommand>
{
public:
    static constexpr char const* kCommandId = "clearrpmb";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelClearRpmbCommand> parameters();

private:
    QString m_fwModulePath;
    unsigned char m_deviceIndex = 0;
    DeviceType m_deviceType = DeviceType::emmc;
};

} // namespace VrelUtilsCommand
