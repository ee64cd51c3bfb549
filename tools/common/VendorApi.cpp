#include "tools/common/VendorApi.h"

#include "external/IVrelAPI.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"

#include <deque>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace {

QString notAvailable()
{
    return QStringLiteral("The vendor API is not available: ") + VendorApi::absence();
}

} // namespace

QString VendorApi::absence()
{
    constexpr std::size_t kEnough = 16; // a vendor library may need some at a time
    std::vector<int> spare;
    while (spare.size() < kEnough && (spare.empty() || spare.back() >= 0))
        spare.push_back(::dup(STDERR_FILENO));
    bool const isLacking = spare.back() < 0;
    for (int const file : spare)
        static_cast<void>(::close(file));
    return isLacking
               ? QStringLiteral("this process may open only %1 more files (ulimit -n)").arg(spare.size() - 1)
               : QStringLiteral("another process may be using it");
}

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
        log.logMessage(kErrorLevel, notAvailable());
    return api;
}

std::optional<VendorApi::DeviceList> VendorApi::list(VrelApiManager& api, QString& error)
{
    if (!api) {
        error = notAvailable();
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
        log.logMessage(
            kWarningLevel,
            QStringLiteral("The device list is full (%1): name further devices with vrelhost run --sn")
                .arg(devices.size()));
}
