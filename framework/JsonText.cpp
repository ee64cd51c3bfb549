#include "framework/JsonText.h"

#include <QJsonObject>

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
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}
