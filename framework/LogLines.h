#pragma once

#include "external/HostExport.h"
#include "framework/LogSink.h"

#include <QByteArray>

#include <cstdio>
#include <optional>

/**
 * @file
 * A log line's forms, and writing them.
 */

enum class LogFormat
{
    Text, ///< for a person, see toReadableText
    Json  ///< one object a line, see toJson
};

/** Returns a sink that writes lines up to `maxLevel` to a stream, each at once and whole. */
HOST_EXPORT LogSink makeLogLineWriter(std::FILE* stream, LogFormat format, Logger::LogLevel maxLevel);

/**
 * Writes all bytes, however slowly they are taken, not mixed with those of other threads.
 * @return whether they could be written
 */
HOST_EXPORT bool writeWhole(std::FILE* stream, QByteArray const& bytes);

/** A line's text, without level, name or prefix; label and value stand side by side. */
HOST_EXPORT QString toText(LogLine const& line);

/**
 * The same for a person to read: behind a word for the level, unless that is progress, and the prefix. With a
 * device the prefix comes first, and every line of a text of several lines begins with it.
 */
HOST_EXPORT QString toReadableText(LogLine const& line);

/**
 * A line as one object of compact JSON: "level", "name", "prefix" and "text", or "label" and "value" in place
 * of "text"; with a device, also "serial" and "path", which is null when it is not known; with a step, also
 * "step" and "command"; with a time that is not empty, also "time".
 */
HOST_EXPORT QByteArray toJson(LogLine const& line, QString const& time = {});

/** Reads level and texts of a line written by toJson; nothing when the bytes are something else. */
HOST_EXPORT std::optional<LogLine> fromJson(QByteArray const& bytes);

/** Environment variable by which a host asks a process for its log lines as JSON (value "json"). */
constexpr char const* kLogFormatVariable = "VREL_LOG_FORMAT";
