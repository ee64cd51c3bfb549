#include "commands/support/VrelDeviceType.h"

namespace VrelUtilsCommand {

namespace {

struct NamedType
{
    DeviceType value;
    char const* name;
};

constexpr NamedType kData[] = {
    {DeviceType::spi, "spi"},
    {DeviceType::emmc, "emmc"},
    {DeviceType::ufs, "ufs"},
    {DeviceType::ufs_hpb, "ufs_hpb"},
};

} // namespace

std::map<DeviceType, QString> getDeviceTypeToStringMap()
{
    std::map<DeviceType, QString> names;
    for (NamedType const& entry : kData)
        names.emplace(entry.value, QLatin1String(entry.name));
    return names;
}

std::map<QString, DeviceType> getStringToDeviceTypeMap()
{
    std::map<QString, DeviceType> types;
    for (NamedType const& entry : kData)
        types.emplace(QLatin1String(entry.name), entry.value);
    return types;
}

} // namespace VrelUtilsCommand
