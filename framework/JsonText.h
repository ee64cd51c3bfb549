#pragma once

#include "external/HostExport.h"
#include "external/JsonObject.h"

#include <QByteArray>
#include <QJsonDocument>

#include <optional>

/** Reads a JSON object or array; nothing, with the cause in `error`, when the text is neither. */
HOST_EXPORT std::optional<QJsonDocument> parseJson(QByteArray const& text, QString& error);

/** Reads a JSON object; nothing, with the cause in `error`, when the text is not one. */
HOST_EXPORT std::optional<JsonObject> parseJsonObject(QByteArray const& text, QString& error);

HOST_EXPORT JsonObject toJsonObject(QJsonObject const& json);

/** An object as compact JSON on one line, keys in ascending order. */
HOST_EXPORT QByteArray toCompactJson(JsonObject const& object);

/** A key that an object holds twice, of which a parser takes one. */
struct RepeatedKey
{
    QString key;
    int element = 0; ///< of the outermost array that holds it, from 0
};

/** The first such key in a text that parseJson has read. */
HOST_EXPORT std::optional<RepeatedKey> findRepeatedKey(QByteArray const& json);
