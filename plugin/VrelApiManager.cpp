#include "plugin/VrelApiManager.h"

#include "external/IVrelAPI.h"
#include "plugin/VrelErrorText.h"
#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLife.h"
#include "plugin/VrelMutexLocker.h"

#include <charconv>
#include <iterator>

namespace {

constexpr int kByteDigits = 3; ///< of the decimal text of a byte, at most

/** What a list says that its record cannot hold; null when all is well. */
QString listFault(VrelDeviceList const& list)
{
    if (list.count > std::size(list.names))
        return QStringLiteral("The vendor API lists %1 devices, of at most %2")
            .arg(QString::number(list.count), QString::number(std::size(list.names)));
    for (std::size_t i = 0; i < list.count; ++i) {
        std::int32_t const ports = list.locations[i].portCount;
        constexpr auto kMostPorts = static_cast<std::int32_t>(sizeof list.locations[i].ports);
        if (ports < 0 || ports > kMostPorts)
            return QStringLiteral("The vendor API lists a device behind %1 ports, of at most %2")
                .arg(QString::number(ports), QString::number(kMostPorts));
    }
    return QString();
}

/** Writes a number into a buffer with room for it; returns the end of what it wrote. */
char* writeNumber(char* to, std::uint8_t number)
{
    return std::to_chars(to, to + kByteDigits, number).ptr;
}

QString locationText(VrelDeviceLocation const& location)
{
    char text[(kByteDigits + 1) * (1 + sizeof location.ports)]; // a separator for each number
    char* end = writeNumber(text, location.bus);
    for (std::int32_t i = 0; i < location.portCount; ++i) {
        *end++ = i == 0 ? '-' : '.';
        end = writeNumber(end, location.ports[i]);
    }
    return QString::fromLatin1(text, static_cast<int>(end - text));
}

} // namespace

/**
 * The state that all copies of one handle share; made on the heap, frees itself with its last user.
 *
 * Lock order: a state's mutex, that of its manager's life, the manager's.
 */
class VrelApiManagerPrivate
{
public:
    VrelApiManagerPrivate(IVrelAPI* vendorApi, VrelManager* issuer, void (VrelManager::*callback)())
        : api(vendorApi)
        , manager(issuer)
        , releaseCallback(callback)
        , life(issuer != nullptr && callback != nullptr ? issuer->life : nullptr)
    {
    }
    VrelApiManagerPrivate(VrelApiManagerPrivate const&) = delete;
    VrelApiManagerPrivate& operator=(VrelApiManagerPrivate const&) = delete;

    void acquire()
    {
        VrelMutexLocker const lock(mutex);
        ++refCount;
    }

    /** Drops one user; with the last one reports to the manager, unless that is gone, and frees the state. */
    void release()
    {
        vrelLock(mutex);
        if (--refCount == 0)
            delete this;
        else
            vrelUnlock(mutex);
    }

    IVrelAPI* object() const { return api; }

private:
    /** Entered with the mutex locked. */
    ~VrelApiManagerPrivate()
    {
        if (life) {
            VrelMutexLocker const lock(life->mutex);
            if (!life->isOver)
                (manager->*releaseCallback)();
        }
        vrelUnlock(mutex);
    }

    IVrelAPI* const api;
    VrelManager* const manager;
    void (VrelManager::*const releaseCallback)();
    int refCount = 1;                            ///< handles sharing this state
    QMutex mutex;                                ///< guards refCount; held over the report to the manager
    std::shared_ptr<VrelManagerLife> const life; ///< null where nobody is to be called
};

VrelApiManager::VrelApiManager()
    : VrelApiManager(nullptr, nullptr, nullptr)
{
}

VrelApiManager::VrelApiManager(IVrelAPI* api, VrelManager* manager, void (VrelManager::*releaseCallback)())
    : d(new VrelApiManagerPrivate(api, manager, releaseCallback))
{
}

VrelApiManager::VrelApiManager(VrelApiManager const& other)
    : d(other.d)
{
    d->acquire();
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment,cert-oop54-cpp): the same handle has the same state
VrelApiManager& VrelApiManager::operator=(VrelApiManager const& other)
{
    if (d != other.d) {
        d->release();
        d = other.d;
        d->acquire();
    }
    return *this;
}

VrelApiManager::~VrelApiManager()
{
    d->release();
}

VrelApiManager::operator bool() const
{
    return d->object() != nullptr;
}

bool VrelApiManager::operator!() const
{
    return d->object() == nullptr;
}

IVrelAPI* VrelApiManager::operator->() const
{
    return d->object();
}

IVrelAPI* VrelApiManager::operator->()
{
    return d->object();
}

int VrelApiManager::getDeviceList(std::map<QString, QString>& devices, QString& error)
{
    devices.clear();
    if (!*this)
        return -1;

    // Not cleared as a whole: of its 53 kB only names and locations are read.
    VrelDeviceList list;
    list.count = 0;
    for (std::size_t i = 0; i < std::size(list.names); ++i) {
        list.names[i][0] = '\0';
        list.locations[i].bus = 0;
        list.locations[i].portCount = 0;
    }
    VrelErrorText errorText;
    int const result = (*this)->listDevices(&list, errorText.buffer());
    if (result != 0) {
        error = errorText.text();
        return result;
    }
    QString const fault = listFault(list);
    if (!fault.isNull()) {
        error = fault;
        return kBadDeviceList;
    }
    for (std::size_t i = 0; i < list.count; ++i)
        devices.emplace(locationText(list.locations[i]), VrelErrorText::bounded(list.names[i]));
    return result;
}

int VrelApiManager::getDeviceList(std::map<QString, QString>& devices)
{
    QString error;
    return getDeviceList(devices, error);
}
