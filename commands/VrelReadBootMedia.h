#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "readbootmedia": reads blocks of a storage device into a file. */
class VrelReadBootMedia : public VrelTableCommand<VrelReadBootMedia>
{
public:
    static constexpr char const* kCommandId = "readbootmedia";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelReadBootMedia> parameters();

private:
    QString m_fwModulePath;
    QString m_targetPath;
    DeviceType m_deviceType = DeviceType::emmc;
    unsigned char m_deviceIndex = 0;
    unsigned int m_startOffset = 0;
    unsigned int m_blockCount = 0;
    unsigned int m_partitionIndex = 0;
};

} // namespace VrelUtilsCommand
