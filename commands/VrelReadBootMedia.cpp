#include "commands/VrelReadBootMedia.h"

#include "commands/support/VrelProcedure.h"

#include <QtEndian>

namespace VrelUtilsCommand {

QString VrelReadBootMedia::getUsage()
{
    return QStringLiteral("\treadbootmedia\n"
                          "\t    --fw_rux arg          path to fw recovery module\n"
                          "\t    --path arg            path to the target binary (it is only required for "
                          "non-SPI device_type)\n"
                          "\t    --device arg          device type (values: ") +
           deviceTypeNames().join(QLatin1String(", ")) +
           QStringLiteral(
               ")\n"
               "\t    --idx arg             device index\n"
               "\t    --start arg           start offset (address to start reading from (in Bytes))\n"
               "\t    --blocks arg          blocks to read\n"
               "\t    --part arg            partition index\n");
}

ParameterTable<VrelReadBootMedia> VrelReadBootMedia::parameters()
{
    using Self = VrelReadBootMedia;
    static constexpr Parameter<Self> kRows[] = {
        {{"fw_rux", "file", ParameterRule::RejectEmpty}, &Self::m_fwModulePath},
        {{"path", "file", ParameterRule::RejectEmpty}, &Self::m_targetPath},
        {{"device", kDeviceNames}, &Self::m_deviceType},
        {{"idx", "uint8_t"}, &Self::m_deviceIndex},
        {{"start", "uint32_t"}, &Self::m_startOffset},
        {{"blocks", "uint32_t"}, &Self::m_blockCount},
        {{"part", "uint32_t"}, &Self::m_partitionIndex},
    };
    return kRows;
}

bool VrelReadBootMedia::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    logModuleVersion(m_fwModulePath, log);
    logStorageDevice(m_deviceType, m_deviceIndex, log);
    logProgress(log, "Start offset: ", QString::number(m_startOffset));
    logProgress(log, "Blocks to read: ", QString::number(m_blockCount));
    logProgress(log, "Partition index: ", QString::number(m_partitionIndex));
    VrelReadRegion region = {qToLittleEndian(m_partitionIndex), qToLittleEndian(m_startOffset),
                             qToLittleEndian(m_blockCount)};
    return Procedure("READ BOOT MEDIA", api, log)
        .carryOut(&IVrelAPI::readBootMedia, m_fwModulePath, m_deviceType, m_deviceIndex, &region,
                  m_targetPath, serial);
}

} // namespace VrelUtilsCommand
