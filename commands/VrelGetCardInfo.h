#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "getcardinfo": reports the registers of a storage device, or has them written to a file. */
class VrelGetCardInfo : public VrelTableCommand<VrelGetCardInfo>
{
public:
    static constexpr char const* kCommandId = "getcardinfo";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelGetCardInfo> parameters();

private:
    QString m_fwModulePath;
    QString m_outputPath;
    DeviceType m_deviceType = DeviceType::emmc;
    unsigned char m_deviceIndex = 0;
};

} // namespace VrelUtilsCommand
