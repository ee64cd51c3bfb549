#include "plugin/VrelApiManager.h"

#include "external/IVrelAPI.h"
#include "plugin/VrelApiManagerPrivate.h"
#include "plugin/VrelBoundedText.h"
#include "plugin/VrelErrorText.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace {

constexpr int kByteDigits = 3; ///< of the decimal text of a byte, at most

/** A count of the vendor library's, bounded by what the record holds. */
std::size_t boundedCount(std::int32_t count, std::size_t capacity)
{
    return count < 0 ? 0 : std::min(static_cast<std::size_t>(count), capacity);
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
    std::size_t const portCount = boundedCount(location.portCount, std::size(location.ports));
    for (std::size_t i = 0; i < portCount; ++i) {
        *end++ = i == 0 ? '-' : '.';
        end = writeNumber(end, location.ports[i]);
    }
    return QString::fromLatin1(text, static_cast<int>(end - text));
}

} // namespace

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
    std::size_t const count = boundedCount(static_cast<std::int32_t>(list.count), std::size(list.names));
    for (std::size_t i = 0; i < count; ++i)
        devices.emplace(locationText(list.locations[i]), vrelBoundedText(list.names[i]));
    return result;
}

int VrelApiManager::getDeviceList(std::map<QString, QString>& devices)
{
    QString error;
    return getDeviceList(devices, error);
}
