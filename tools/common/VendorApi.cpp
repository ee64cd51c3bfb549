#include "tools/common/VendorApi.h"

#include "external/IVrelAPI.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"

#include <deque>
#include <type_traits>

namespace {

QString const kNotAvailable =
    QStringLiteral("The vendor API is not available: another process may be using it");

} // namespace

LogHandler& VendorApi::lastingLog(QString const& name)
{
    static auto& s_handlers = *new std::deque<LogHandler>;
    LogHandler& log = s_handlers.emplace_back();
    log.setName(name);
    return log;
}

VrelApiManager VendorApi::fetch(VrelManager& manager, LogHandler const& log)
{
    VrelApiManager api = manager.fetchApi();
    if (!api)
        log.logMessage(kErrorLevel, kNotAvailable);
    return api;
}

std::optional<VendorApi::DeviceList> VendorApi::list(VrelApiManager& api, QString& error)
{
    if (!api) {
        error = kNotAvailable;
        return std::nullopt;
    }
    DeviceList devices;
    QString text;
    int const result = api.getDeviceList(devices, text);
    if (result == 0)
        return devices;
    error = QStringLiteral("The vendor API cannot list the devices: code %1, '%2'").arg(result).arg(text);
    return std::nullopt;
}

bool VendorApi::isFull(DeviceList const& devices)
{
    constexpr std::size_t kCapacity = std::extent_v<decltype(VrelDeviceList::names)>;
    return devices.size() >= kCapacity;
}

void VendorApi::warnOfFullList(DeviceList const& devices, LogHandler const& log)
{
    if (isFull(devices))
        log.logMessage(kWarningLevel,
                       QStringLiteral("The vendor API lists %1 devices, as many as it can: there may be "
                                      "more, which vrelhost run --sn names")
                           .arg(devices.size()));
}
