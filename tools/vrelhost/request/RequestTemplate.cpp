#include "tools/vrelhost/request/RequestTemplate.h"

#include "tools/vrelhost/log/ReportText.h"
#include "tools/vrelhost/request/Refusal.h"

#include <algorithm>
#include <iterator>

namespace {

QLatin1String const kSerialWord("{serial}");
QLatin1String const kPathWord("{path}");

/** Whether a text can be part of a file name anywhere in a path, and leave it in the same directory. */
bool isFileNamePart(QString const& text)
{
    auto const isAllowed = [](QChar character) {
        return character > QLatin1Char(' ') && character < QLatin1Char('\x7F') &&
               character != QLatin1Char('/') && character != QLatin1Char('\\');
    };
    return !text.startsWith(QLatin1Char('.')) && std::all_of(text.begin(), text.end(), isAllowed);
}

/** The value of each entry that may hold placeholders, as text; all others come as null. */
QString replaceable(JsonObject::Entries::value_type const& entry)
{
    bool const isText = entry.second.userType() == QMetaType::QString;
    return isText && entry.first != QLatin1String("command") ? entry.second.toString() : QString();
}

/** What stands for a placeholder's value or, in braces of its own, for the word itself. */
struct Form
{
    QLatin1String text;
    QLatin1String placeholder;
    bool isLiteral;
};

Form const kForms[] = {
    {QLatin1String("{{serial}}"), kSerialWord, true},
    {QLatin1String("{{path}}"), kPathWord, true},
    {kSerialWord, kSerialWord, false},
    {kPathWord, kPathWord, false},
};

/**
 * A text with `valueOf` each placeholder in its place; in one pass, so that what is put in is not looked at.
 * By no regular expression: it matches nothing in a text with half a surrogate pair, which JSON may hold.
 */
template <typename Function>
QString replaced(QString const& text, Function const& valueOf)
{
    QString result;
    for (int i = 0; i < text.size();) {
        auto const form =
            std::find_if(std::begin(kForms), std::end(kForms),
                         [rest = text.midRef(i)](Form const& f) { return rest.startsWith(f.text); });
        if (form == std::end(kForms)) {
            result += text.at(i++);
            continue;
        }
        result += form->isLiteral ? QString(form->placeholder) : valueOf(form->placeholder);
        i += form->text.size();
    }
    return result;
}

} // namespace

RequestTemplate::RequestTemplate(JsonObject const& request)
    : m_request(request)
{
    auto const note = [this](QString const& placeholder) {
        (placeholder == kSerialWord ? m_needsSerial : m_needsPath) = true;
        return placeholder;
    };
    for (auto const& entry : m_request)
        replaced(replaceable(entry), note);
}

JsonObject RequestTemplate::forDevice(DeviceName const& device) const
{
    QString error;
    if ((m_needsSerial || m_needsPath) && device.serial.isEmpty())
        error =
            QStringLiteral("The request holds %1, but no device is named: name it with --sn, --path or --all")
                .arg(m_needsSerial ? kSerialWord : kPathWord);
    else if (m_needsPath && device.path.isNull())
        error = QStringLiteral("The request holds {path}, but the vendor API lists no device '%1': leave "
                               "{path} out or the device")
                    .arg(ReportText::printable(device.serial));
    else if (m_needsSerial && !isFileNamePart(device.serial))
        error = QStringLiteral("The serial number '%1' cannot be part of a file name: leave {serial} out of "
                               "the request, or the device")
                    .arg(ReportText::printable(device.serial));
    else if (m_needsPath && !isFileNamePart(device.path))
        error = QStringLiteral("The USB path '%1' cannot be part of a file name: leave {path} out of the "
                               "request, or the device")
                    .arg(device.path);
    if (!error.isEmpty())
        throw Refusal(error, Refusal::NoAdvice);
    JsonObject request = m_request;
    auto const value = [&device](QString const& placeholder) {
        return placeholder == kSerialWord ? device.serial : device.path;
    };
    for (auto const& entry : m_request) {
        QString const text = replaceable(entry);
        if (!text.isNull())
            request.setValue(entry.first, replaced(text, value));
    }
    return request;
}
