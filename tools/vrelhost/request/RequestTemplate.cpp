#include "tools/vrelhost/request/RequestTemplate.h"

#include "commands/VrelFlashUtils.h"
#include "tools/common/ReportText.h"
#include "tools/vrelhost/request/Placeholders.h"
#include "tools/vrelhost/request/Refusal.h"

#include <limits>

namespace {

/** The value of each entry that may hold placeholders, as text; all others come as null. */
QString replaceable(JsonObject::Entries::value_type const& entry)
{
    bool const isText = entry.second.userType() == QMetaType::QString;
    return isText && entry.first != QLatin1String("command") ? entry.second.toString() : QString();
}

} // namespace

RequestTemplate::RequestTemplate(JsonObject const& request)
    : m_request(request)
{
}

QStringList RequestTemplate::names() const
{
    QStringList names;
    for (auto const& entry : m_request)
        names += Placeholders::namesIn(replaceable(entry));
    return names;
}

JsonObject RequestTemplate::fill(Placeholders const& values) const
{
    JsonObject const types = VrelFlashUtils::getParameterTypes(m_request);
    JsonObject request = m_request;
    for (auto const& entry : m_request) {
        QString const text = replaceable(entry);
        if (text.isNull())
            continue;
        QString const filled = values.fill(text);
        QString type;
        types.getString(entry.first, type);
        unsigned const greatest = greatestNumber(type);
        if (greatest == 0 || filled == text || Placeholders::onlyName(text).isNull()) {
            request.setValue(entry.first, filled);
            continue;
        }
        bool isNumber = false;
        unsigned const number = filled.toUInt(&isNumber);
        if (!isNumber || number > greatest)
            refuse(QStringLiteral("\"%1\" must be a number from 0 to %2, and %3 gives '%4'")
                       .arg(entry.first)
                       .arg(greatest)
                       .arg(text, ReportText::printable(filled)));
        request.setValue(entry.first, number);
    }
    return request;
}

JsonObject RequestTemplate::fixedPart(Placeholders const& values) const
{
    JsonObject request;
    for (auto const& entry : m_request) {
        QString const text = replaceable(entry);
        if (text.isNull())
            request.setValue(entry.first, entry.second);
        else if (!values.change(text))
            request.setValue(entry.first, values.fill(text));
    }
    return request;
}

unsigned RequestTemplate::greatestNumber(QString const& type)
{
    if (type.contains(QLatin1String("uint8_t")))
        return std::numeric_limits<unsigned char>::max();
    return type.contains(QLatin1String("uint32_t")) ? std::numeric_limits<unsigned>::max() : 0;
}
