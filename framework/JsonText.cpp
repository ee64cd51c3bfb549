#include "framework/JsonText.h"

#include "framework/CompactJson.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QVector>

std::optional<QJsonDocument> parseJson(QByteArray const& text, QString& error)
{
    QJsonParseError parseError;
    QJsonDocument document = QJsonDocument::fromJson(text, &parseError);
    if (parseError.error == QJsonParseError::NoError)
        return document;
    error =
        QStringLiteral("it is not JSON (%1 at byte %2)").arg(parseError.errorString()).arg(parseError.offset);
    return std::nullopt;
}

std::optional<JsonObject> parseJsonObject(QByteArray const& text, QString& error)
{
    auto const document = parseJson(text, error);
    if (!document)
        return std::nullopt;
    if (!document->isObject()) {
        error = QStringLiteral("it is a JSON array, not an object");
        return std::nullopt;
    }
    return toJsonObject(document->object());
}

JsonObject toJsonObject(QJsonObject const& json)
{
    JsonObject object;
    for (auto entry = json.begin(); entry != json.end(); ++entry)
        object.setValue(entry.key(), entry.value().toVariant());
    return object;
}

QByteArray toCompactJson(JsonObject const& object)
{
    QJsonObject json;
    for (auto const& [key, value] : object)
        json.insert(key, QJsonValue::fromVariant(value));
    return toCompactText(QJsonDocument(json));
}

std::optional<RepeatedKey> findRepeatedKey(QByteArray const& json)
{
    RepeatedKey found;
    QVector<QSet<QString>> open; // the keys of each object that is not at its end; arrays have none
    QByteArray text;
    for (int i = 0; i < json.size(); ++i) {
        int const begin = i;
        switch (json.at(i)) {
        case '{':
        case '[':
            open.append(QSet<QString>());
            break;
        case '}':
        case ']':
            open.removeLast();
            break;
        case ',':
            found.element += open.size() == 1 ? 1 : 0;
            break;
        case '"':
            for (++i; json.at(i) != '"'; ++i)
                i += json.at(i) == '\\' ? 1 : 0;
            text = json.mid(begin, i + 1 - begin);
            break;
        case ':':
            found.key = QJsonDocument::fromJson('[' + text + ']').array().at(0).toString();
            if (open.last().contains(found.key))
                return found;
            open.last().insert(found.key);
            break;
        default:
            break;
        }
    }
    return std::nullopt;
}
