#include "plugin/VrelManager.h"

#include "external/IVrelAPI.h"
#include "plugin/VrelManagerLib.h"
#include "plugin/VrelManagerLife.h"
#include "plugin/VrelMutexLocker.h"

#include <algorithm>

namespace {

QString versionText(VrelApiVersionRecord const& record)
{
    constexpr auto kCapacity = static_cast<int>(sizeof record.versionText);
    int const length = record.textLength == -1 ? static_cast<int>(qstrnlen(record.versionText, kCapacity))
                                               : std::clamp(record.textLength, 0, kCapacity);
    return QString::fromLatin1(record.versionText, length);
}

} // namespace

VrelManager::VrelManager()
    : life(std::make_shared<VrelManagerLife>())
{
    logHandler().setPrefix(QStringLiteral("Vrel Manager"));
    logHandler().setName(QStringLiteral("Vrel Manager"));
}

VrelManager::~VrelManager()
{
    {
        VrelMutexLocker const end(life->mutex);
        life->isOver = true; // from here on, handles that are dropped call nobody
    }
    VrelMutexLocker const lock(mutex);
    if (useCount != 0 || api != nullptr)
        logHandler().logMessage(kWarningLevel, "Vrel Manager deleted while in use");
    api_release();
    api = nullptr;
}

VrelApiManager VrelManager::fetchApi()
{
    VrelMutexLocker const lock(mutex);
    if (api == nullptr)
        api = api_acquire();
    ++useCount;
    try {
        return VrelApiManager(api, this, &VrelManager::release);
    } catch (...) { // there is no memory for it
        dropUser();
        throw;
    }
}

void VrelManager::release()
{
    VrelMutexLocker const lock(mutex);
    dropUser();
}

void VrelManager::dropUser()
{
    --useCount;
    if (useCount == 0) {
        api_release();
        api = nullptr;
    }
}

QString VrelManager::getVersion()
{
    QString apiPart = QStringLiteral("No API");
    if (IVrelAPI* const vendorApi = api_acquire()) {
        VrelApiVersionRecord record = {};
        vendorApi->getApiVersion(&record);
        api_release();
        apiPart = QStringLiteral("API: ") + versionText(record);
    }
    return QString::fromUtf8(VrelManagerLib::getVersion()) + QStringLiteral(" (") + apiPart +
           QLatin1Char(')');
}
