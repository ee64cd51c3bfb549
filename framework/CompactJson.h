#pragma once

#include <QByteArray>
#include <QJsonDocument>

/** JSON on one line; control characters beyond ASCII are escaped too, since they could steer a terminal. */
inline QByteArray toCompactText(QJsonDocument const& json)
{
    constexpr char kLead = '\xC2'; // of U+0080 to U+00BF
    constexpr unsigned char kBehindControls = 0xA0;
    QByteArray const text = json.toJson(QJsonDocument::Compact);
    QByteArray escaped;
    int begin = 0;
    for (int end = text.indexOf(kLead); end >= 0; end = text.indexOf(kLead, end + 1)) {
        if (static_cast<unsigned char>(text.at(end + 1)) >= kBehindControls)
            continue;
        escaped += text.mid(begin, end - begin) + "\\u00" + text.mid(end + 1, 1).toHex();
        begin = end + 2;
    }
    return begin == 0 ? text : escaped + text.mid(begin);
}
