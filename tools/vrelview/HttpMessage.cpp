#include "tools/vrelview/HttpMessage.h"

#include <cctype>
#include <utility>

namespace {

/** False when a percent sign is not followed by two hexadecimal digits. */
bool decode(QByteArray const& text, QByteArray& decoded)
{
    constexpr int kEscape = 3;
    auto const isDigit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    for (int i = text.indexOf('%'); i >= 0; i = text.indexOf('%', i + kEscape)) {
        if (i + 2 >= text.size() || !isDigit(text[i + 1]) || !isDigit(text[i + 2]))
            return false;
    }
    decoded = QByteArray::fromPercentEncoding(text);
    return true;
}

/** What is before the first mark and what is after it; all of a text without one. */
std::pair<QByteArray, QByteArray> cut(QByteArray const& text, char mark)
{
    int const place = text.indexOf(mark);
    return place < 0 ? std::pair(text, QByteArray()) : std::pair(text.left(place), text.mid(place + 1));
}

} // namespace

bool HttpRequest::setTarget(QByteArray const& text)
{
    target = text;
    auto const [place, parts] = cut(text, '?');
    if (!place.startsWith('/') || !decode(place, path))
        return false;
    for (QByteArray part : parts.split('&')) {
        part.replace('+', ' '); // as forms send it
        auto const [name, content] = cut(part, '=');
        QByteArray key;
        QByteArray value;
        if (!decode(name, key) || !decode(content, value))
            return false;
        if (!part.isEmpty())
            query[QString::fromUtf8(key)] = QString::fromUtf8(value);
    }
    return true;
}

HttpAnswer HttpAnswer::refusal(int status, QString const& cause)
{
    HttpAnswer answer;
    answer.status = status;
    answer.body = cause.toUtf8() + ".\n";
    return answer;
}
