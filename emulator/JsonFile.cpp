#include "emulator/JsonFile.h"

#include "emulator/Text.h"

#include <QJsonDocument>

#include <algorithm>
#include <limits>

namespace VrelRig {

JsonFile::JsonFile(Directory const& directory, std::string const& name)
    : m_path(directory.path(name))
{
    QJsonParseError error;
    auto const text = directory.read(name, kMebibyte).content();
    auto const document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
    if (error.error != QJsonParseError::NoError)
        throw RigError(inQuotes(m_path) + ": JSON error at offset " + std::to_string(error.offset) + ": " +
                       error.errorString().toStdString());
    if (!document.isObject())
        throw RigError(inQuotes(m_path) + ": a JSON object is expected");
    m_object = document.object();
}

std::string JsonFile::text(char const* key) const
{
    auto const value = m_object.value(QLatin1String(key));
    if (!value.isString())
        refuse(key, "a text");
    return value.toString().toStdString();
}

std::uint32_t JsonFile::number(char const* key) const
{
    auto const value = m_object.value(QLatin1String(key));
    auto const written = value.isDouble()
                             ? QString::number(value.toDouble(), 'f', QLocale::FloatingPointShortest)
                             : value.toString();
    auto const number = parseNumber(written.toStdString());
    if (!number || *number > std::numeric_limits<std::uint32_t>::max())
        refuse(key, "a number from 0 to 0xFFFFFFFF");
    return static_cast<std::uint32_t>(*number);
}

void JsonFile::tell(char const* key, std::uint32_t* place) const
{
    required(place, key) = number(key);
}

void JsonFile::tellBytes(char const* key, std::uint8_t* place, std::size_t length) const
{
    auto const bytes = parseHex(text(key));
    if (!bytes || bytes->size() != length)
        refuse(key, std::to_string(length) + " bytes in hexadecimal");
    std::copy(bytes->begin(), bytes->end(), place);
}

void JsonFile::refuse(char const* key, std::string const& expected) const
{
    auto const found = m_object.contains(QLatin1String(key)) ? " is not " : " is missing, expected ";
    throw RigError(inQuotes(m_path) + ": " + inQuotes(key) + found + expected);
}

void storeCounted(Directory const& directory, std::string const& name, QJsonObject record)
{
    auto const count = directory.has(name) ? JsonFile(directory, name).number("count") : 0;
    record.insert("count", static_cast<qint64>(count) + 1);
    directory.store(name, QJsonDocument(record).toJson().toStdString());
}

} // namespace VrelRig
