#include "Call.h"

#include <QFile>
#include <QJsonArray>
#include <QStringList>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr qint64 kLargestFile = 16 * 1024 * 1024;

QLatin1String const kCall("call");
QLatin1String const kWith("with");

/** Cuts what does not fit; there is always a NUL. */
template <std::size_t Size>
void copyText(QString const& text, char (&field)[Size])
{
    qstrncpy(field, text.toUtf8().constData(), Size);
}

template <std::size_t Size>
QString textOf(char const (&field)[Size])
{
    return QString::fromUtf8(field, static_cast<int>(qstrnlen(field, Size)));
}

/** As in "1-4.2". */
QString pathOf(VrelDeviceLocation const& location)
{
    QString path = QString::number(location.bus);
    int const count = std::clamp(location.portCount, 0, static_cast<int>(std::size(location.ports)));
    for (int i = 0; i < count; ++i)
        path += QLatin1Char(i == 0 ? '-' : '.') + QString::number(location.ports[i]);
    return path;
}

/** @return whether it is a path that the record has room for */
bool setPath(QString path, VrelDeviceLocation& location)
{
    QStringList const numbers = path.replace('-', '.').split('.');
    location.portCount = numbers.size() - 1;
    bool isPath = numbers.size() <= static_cast<int>(1 + std::size(location.ports));
    for (int i = 0; isPath && i < numbers.size(); ++i) {
        std::uint8_t& place = i == 0 ? location.bus : location.ports[i - 1];
        place = static_cast<std::uint8_t>(numbers[i].toUInt(&isPath));
        isPath = isPath && QString::number(place) == numbers[i];
    }
    return isPath;
}

QString hexOf(void const* bytes, std::size_t size)
{
    return QByteArray::fromRawData(static_cast<char const*>(bytes), static_cast<int>(size)).toHex();
}

} // namespace

Call::Call(char const* operation, char const* serial)
    : m_operation(QString::fromUtf8(operation))
{
    if (serial != nullptr)
        m_with.insert("serial", QString::fromUtf8(serial));
}

Call& Call::with(char const* name, std::uint32_t number)
{
    m_with.insert(QLatin1String(name), static_cast<qint64>(number));
    return *this;
}

Call& Call::with(char const* name, VrelIfpRecord const& record)
{
    m_with.insert(QLatin1String(name), hexOf(record.bytes, sizeof record.bytes));
    return *this;
}

Call& Call::reads(char const* name, char const* path)
{
    m_files.insert(QLatin1String(name), QString::fromUtf8(path));
    return *this;
}

Call& Call::writes(char const* name, char const* path)
{
    QString const fileName = QString::fromUtf8(path);
    auto const read = [fileName]() -> QJsonValue {
        QFile file(fileName);
        if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestFile)
            return QJsonValue::Null;
        return QJsonValue(QString(file.readAll().toHex()));
    };
    auto const write = [fileName](QJsonValue const& value) {
        QFile file(fileName);
        QByteArray const content = QByteArray::fromHex(value.toString().toLatin1());
        return value.isString() && file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    };
    return reads(name, path).addPlace(name, read, write);
}

Call& Call::gives(char const* name, std::uint32_t* number)
{
    auto const write = [number](QJsonValue const& value) {
        *number = static_cast<std::uint32_t>(value.toDouble());
        return value.isDouble();
    };
    return addPlace(
        name, [number] { return static_cast<qint64>(*number); }, write);
}

Call& Call::gives(VrelApiVersionRecord* version)
{
    auto const read = [version] {
        int const length =
            version->textLength < 0 ? static_cast<int>(sizeof version->versionText) : version->textLength;
        return textOf(version->versionText).left(length);
    };
    auto const write = [version](QJsonValue const& value) {
        copyText(value.toString(), version->versionText);
        version->textLength = -1;
        return true;
    };
    return addPlace("version", read, write);
}

Call& Call::gives(VrelDeviceList* devices)
{
    auto const read = [devices] {
        QJsonObject list;
        for (std::size_t i = 0; i < std::min<std::size_t>(devices->count, std::size(devices->names)); ++i)
            list.insert(pathOf(devices->locations[i]), textOf(devices->names[i]));
        return list;
    };
    auto const write = [devices](QJsonValue const& value) {
        QJsonObject const list = value.toObject();
        *devices = {};
        bool hasRoom = list.size() <= static_cast<int>(std::size(devices->names));
        for (auto entry = list.begin(); hasRoom && entry != list.end(); ++entry) {
            hasRoom = setPath(entry.key(), devices->locations[devices->count]);
            copyText(entry.value().toString(), devices->names[devices->count]);
            ++devices->count;
        }
        return hasRoom;
    };
    return addPlace("devices", read, write);
}

QJsonObject Call::question() const
{
    return {{kCall, m_operation}, {kWith, m_with}, {QLatin1String("files"), m_files}};
}

bool Call::isOf(QJsonObject const& line) const
{
    return line.value(kCall).toString() == m_operation && line.value(kWith).toObject() == m_with;
}

QJsonObject Call::answer() const
{
    QJsonObject answer;
    for (Place const& place : m_places)
        answer.insert(place.name, place.read());
    return answer;
}

bool Call::give(QJsonObject const& answer) const
{
    return std::all_of(m_places.begin(), m_places.end(),
                       [&](Place const& place) { return place.write(answer.value(place.name)); });
}

Call& Call::givesBytes(char const* name, char* bytes, std::size_t size)
{
    auto const read = [bytes, size] { return hexOf(bytes, size); };
    auto const write = [bytes, size](QJsonValue const& value) {
        QByteArray const recorded =
            QByteArray::fromHex(value.toString().toLatin1()).left(static_cast<int>(size));
        std::copy(recorded.begin(), recorded.end(), bytes);
        return value.isString();
    };
    return addPlace(name, read, write);
}

Call& Call::addPlace(char const* name, Read read, Write write)
{
    m_places.push_back({QString::fromUtf8(name), std::move(read), std::move(write)});
    return *this;
}
