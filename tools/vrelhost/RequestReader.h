#pragma once

#include "external/JsonObject.h"

#include <QString>

#include <optional>

/**
 * Reads a request from where an argument says: the JSON text itself (it begins with "{" or "["), "-" for
 * standard input, or the path of a file.
 * @return nothing, with the cause in `error`, when there is no JSON object to be had
 */
std::optional<JsonObject> readRequest(QString const& argument, QString& error);
