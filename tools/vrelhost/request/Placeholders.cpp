#include "tools/vrelhost/request/Placeholders.h"

#include "tools/common/ReportText.h"
#include "tools/vrelhost/request/Refusal.h"

#include <algorithm>

namespace {

QString const kSerial = QStringLiteral("serial");
QString const kPath = QStringLiteral("path");

/** A name in braces. */
struct Place
{
    QString name;       ///< null where there is none
    bool isWord = true; ///< braces of its own: the name in braces is meant
    int size = 1;
};

bool isNameCharacter(QChar character)
{
    constexpr ushort kFirstForeign = 0x80;
    return character == QLatin1Char('-') || character == QLatin1Char('_') ||
           (character.unicode() < kFirstForeign && character.isLetterOrNumber());
}

/** By no regular expression: it matches nothing in a text with half a surrogate pair, which JSON may hold. */
Place placeAt(QString const& text, int begin)
{
    if (text.at(begin) != QLatin1Char('{'))
        return {};
    int const braces = text.midRef(begin).startsWith(QLatin1String("{{")) ? 2 : 1;
    int const first = begin + braces;
    int const last =
        static_cast<int>(std::find_if_not(text.begin() + first, text.end(), isNameCharacter) - text.begin());
    if (last == first || !text.midRef(last).startsWith(QLatin1String("}}", braces)))
        return {};
    return {text.mid(first, last - first), braces > 1, last + braces - begin};
}

/** Whether a text can be part of a file name anywhere in a path, and leave it in the same directory. */
bool isFileNamePart(QString const& text)
{
    auto const isAllowed = [](QChar character) {
        return character > QLatin1Char(' ') && character < QLatin1Char('\x7F') &&
               character != QLatin1Char('/') && character != QLatin1Char('\\');
    };
    return !text.startsWith(QLatin1Char('.')) && std::all_of(text.begin(), text.end(), isAllowed);
}

/** What is wrong with a device's serial number or path as part of a text; empty when nothing is. */
QString deviceFault(QString const& name, std::map<QString, QString> const& values)
{
    QString const& serial = values.at(kSerial);
    QString const& value = values.at(name);
    if (serial.isEmpty())
        return QStringLiteral("The request contains {%1}, but no device is named: use --sn, --path or --all")
            .arg(name);
    if (value.isNull())
        return QStringLiteral("The request contains {path}, but the vendor API lists no device '%1': remove "
                              "{path} from the request, or leave the device out")
            .arg(ReportText::printable(serial));
    return isFileNamePart(value) ? QString()
                                 : QStringLiteral("The %1 '%2' cannot be part of a file name: remove {%3} "
                                                  "from the request, or leave the device out")
                                       .arg(QLatin1String(name == kSerial ? "serial number" : "USB path"),
                                            ReportText::printable(value), name);
}

} // namespace

Placeholders::Placeholders(DeviceName const& device)
    : m_values{{kSerial, device.serial}, {kPath, device.path}}
{
}

void Placeholders::add(QString const& name, QString const& value)
{
    m_values[name] = value;
}

QString Placeholders::fill(QString const& text) const
{
    QString result;
    for (int i = 0; i < text.size();) {
        Place const place = placeAt(text, i);
        auto const value = m_values.find(place.name);
        if (value == m_values.end()) {
            result += text.at(i++);
            continue;
        }
        bool const isDevices = place.name == kSerial || place.name == kPath;
        QString const fault = isDevices && !place.isWord ? deviceFault(place.name, m_values) : QString();
        if (!fault.isEmpty())
            throw Refusal(fault, Refusal::NoAdvice);
        result += place.isWord ? QLatin1Char('{') + place.name + QLatin1Char('}') : value->second;
        i += place.size;
    }
    return result;
}

bool Placeholders::change(QString const& text) const
{
    QStringList const names = namesIn(text);
    return std::any_of(names.begin(), names.end(), [this](QString const& name) { return has(name); });
}

QStringList Placeholders::namesIn(QString const& text)
{
    QStringList names;
    for (int i = 0; i < text.size();) {
        Place const place = placeAt(text, i);
        if (!place.isWord)
            names << place.name;
        i += place.size;
    }
    return names;
}

QString Placeholders::onlyName(QString const& text)
{
    Place const place = text.isEmpty() ? Place() : placeAt(text, 0);
    return !place.isWord && place.size == text.size() ? place.name : QString();
}
