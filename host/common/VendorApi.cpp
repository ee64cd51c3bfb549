#include "host/common/VendorApi.h"

#include "external/IVrelAPI.h"
#include "external/LogHandler.h"
#include "plugin/VrelManager.h"

#include <type_traits>

VrelApiManager VendorApi::fetch(VrelManager& manager, LogHandler const& log)
{
    VrelApiManager api = manager.fetchApi();
    if (!api)
        log.logMessage(1, "The vendor API is not available: another process may be using it");
    return api;
}

std::optional<VendorApi::DeviceList> VendorApi::list(VrelApiManager& api, LogHandler const& log)
{
    DeviceList devices;
    QString error;
    int const result = api.getDeviceList(devices, error);
    if (result == 0)
        return devices;
    log.logMessage(1, QStringLiteral("Cannot list the devices: code %1, '%2'").arg(result).arg(error));
    return std::nullopt;
}

void VendorApi::warnOfFullList(DeviceList const& devices, LogHandler const& log)
{
    constexpr std::size_t kCapacity = std::extent_v<decltype(VrelDeviceList::names)>;
    if (devices.size() >= kCapacity)
        log.logMessage(2, QStringLiteral("The vendor API lists %1 devices, as many as it can: there may be "
                                         "more, which --sn names")
                              .arg(kCapacity));
}
