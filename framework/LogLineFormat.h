#pragma once

#include "external/HostExport.h"
#include "framework/LogSink.h"

#include <QByteArray>

#include <optional>

/** A line's text, without level, name or prefix; label and value stand side by side. */
HOST_EXPORT QString toText(LogLine const& line);

/**
 * The same for a person to read: behind a word for the level, unless that is progress, and the prefix. With a
 * device the prefix comes first, and every line of a text of several lines begins with it.
 */
HOST_EXPORT QString toReadableText(LogLine const& line);

/**
 * A line as one object of compact JSON: "level", "name", "prefix" and "text", or "label" and "value" in place
 * of "text"; with a device, also "serial" and "path", which is null when it is not known.
 */
HOST_EXPORT QByteArray toJson(LogLine const& line);

/** Reads level and texts of a line written by toJson; nothing when the bytes are something else. */
HOST_EXPORT std::optional<LogLine> fromJson(QByteArray const& bytes);

/** Environment variable by which a host asks a process for its log lines as JSON (value "json"). */
constexpr char const* kLogFormatVariable = "VREL_LOG_FORMAT";
