#pragma once

#include <QString>

#include <cstdint>
#include <map>

namespace VrelUtilsCommand {

/** Kind of storage device; the values are the vendor API's codes. */
enum class DeviceType : std::int32_t
{
    spi = 1,
    emmc = 2,
    ufs = 3,
    ufs_hpb = 16 ///< UFS with host performance booster
};

/** The vendor API's code of a storage device type. */
inline std::uint8_t deviceCode(DeviceType type)
{
    return static_cast<std::uint8_t>(type);
}

/** The JSON name of every device type, freshly built. */
std::map<DeviceType, QString> getDeviceTypeToStringMap();
/** The device type of every JSON name, freshly built; exact and case-sensitive. */
std::map<QString, DeviceType> getStringToDeviceTypeMap();

} // namespace VrelUtilsCommand
