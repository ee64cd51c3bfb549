#include "commands/cardreport/VrelCardReport.h"

namespace VrelUtilsCommand {

QString cardReport(DeviceType type, unsigned char const (&info)[kCardInfoSize], std::uint32_t size)
{
    switch (type) {
    case DeviceType::emmc:
        return emmcReport(info);
    case DeviceType::ufs:
        return ufsReport(info, size);
    case DeviceType::spi:
    case DeviceType::ufs_hpb:
        break;
    }
    return QString();
}

} // namespace VrelUtilsCommand
