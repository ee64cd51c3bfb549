#include "framework/JsonText.h"

#include <QJsonDocument>
#include <QJsonObject>

std::optional<JsonObject> parseJsonObject(QByteArray const& text, QString& error)
{
    QJsonParseError parseError;
    QJsonDocument const document = QJsonDocument::fromJson(text, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        error = QStringLiteral("it is not JSON (%1 at byte %2)")
                    .arg(parseError.errorString())
                    .arg(parseError.offset);
        return std::nullopt;
    }
    if (!document.isObject()) {
        error = QStringLiteral("it is a JSON array, not an object");
        return std::nullopt;
    }
    QJsonObject const json = document.object();
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
