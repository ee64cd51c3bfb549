#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "configpart": configures the partitions of a storage device from an XML file. */
class VrelConfigPart : public VrelTableCommand<VrelConfigPart>
{
public:
    static constexpr char const* kCommandId = "configpart";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelConfigPart> parameters();

private:
    QString m_fwModulePath;
    QString m_configPath;
    unsigned char m_deviceIndex = 0;
    DeviceType m_deviceType = DeviceType::emmc;
};

} // namespace VrelUtilsCommand
