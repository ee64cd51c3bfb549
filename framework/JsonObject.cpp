#include "external/JsonObject.h"

#include <cmath>
#include <limits>
#include <optional>

namespace {

/** The whole number in a value; nothing for other types and for fractions. */
std::optional<double> wholeNumber(QVariant const& value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Float:
    case QMetaType::Double: {
        // Exact for all that fits 32 bits, and too large stays too large.
        double const number = value.toDouble();
        if (std::isfinite(number) && std::trunc(number) == number)
            return number;
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

template <typename T>
int readNumber(JsonObject const& object, QString const& key, T& out)
{
    QVariant value;
    int const result = object.getValue(key, value);
    if (result != JsonObject::Present)
        return result;
    auto const number = wholeNumber(value);
    if (!number || *number < 0 || *number > std::numeric_limits<T>::max())
        return JsonObject::Unusable;
    out = static_cast<T>(*number);
    return JsonObject::Present;
}

/** A value in the type whose text is the usual one: bytes as numbers, whole numbers without exponent. */
QVariant normalised(QVariant const& value)
{
    constexpr double kExactLimit = 9007199254740992.0; // 2^53
    switch (value.userType()) {
    case QMetaType::Char:
    case QMetaType::SChar:
        return static_cast<int>(value.value<signed char>());
    case QMetaType::UChar:
        return static_cast<uint>(value.value<unsigned char>());
    case QMetaType::Float:
    case QMetaType::Double: {
        auto const number = wholeNumber(value);
        if (number && std::fabs(*number) <= kExactLimit)
            return static_cast<qlonglong>(*number);
        return value;
    }
    default:
        return value;
    }
}

} // namespace

JsonObject::JsonObject() = default;

JsonObject::JsonObject(JsonObject const& other) = default;

JsonObject& JsonObject::operator=(JsonObject const& other) = default;

JsonObject::~JsonObject() = default;

bool JsonObject::empty() const
{
    return m_entries.empty();
}

JsonObject::const_iterator JsonObject::begin() const
{
    return m_entries.begin();
}

JsonObject::const_iterator JsonObject::end() const
{
    return m_entries.end();
}

int JsonObject::getString(QString const& key, QString& out) const
{
    QVariant value;
    int const result = getValue(key, value);
    if (result != Present)
        return result;
    // A NUL would end the text early wherever it goes: a file of another name, a device of another number.
    if (value.userType() != QMetaType::QString || value.toString().contains(QChar(0)))
        return Unusable;
    out = value.toString();
    return Present;
}

int JsonObject::getUInt8(QString const& key, unsigned char& out) const
{
    return readNumber(*this, key, out);
}

int JsonObject::getUInt32(QString const& key, unsigned int& out) const
{
    return readNumber(*this, key, out);
}

int JsonObject::getValue(QString const& key, QVariant& out) const
{
    auto const entry = m_entries.find(key);
    if (entry == m_entries.end())
        return Absent;
    // Not isNull(): an empty text is a text.
    if (!entry->second.isValid() || entry->second.userType() == QMetaType::Nullptr)
        return Unusable;
    out = entry->second;
    return Present;
}

void JsonObject::setValue(QString const& key, char const* utf8)
{
    m_entries[key] = QString::fromUtf8(utf8);
}

void JsonObject::setValue(QString const& key, QString const& value)
{
    m_entries[key] = value;
}

void JsonObject::setValue(QString const& key, QStringList const& value)
{
    m_entries[key] = value;
}

void JsonObject::setValue(QString const& key, QVariant const& value)
{
    m_entries[key] = normalised(value);
}

void JsonObject::setValue(QString const& key, unsigned char const& value)
{
    m_entries[key] = static_cast<uint>(value);
}

void JsonObject::setValue(QString const& key, unsigned int const& value)
{
    m_entries[key] = value;
}
