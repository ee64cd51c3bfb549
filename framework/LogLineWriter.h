#pragma once

#include "external/HostExport.h"
#include "framework/LogSink.h"

#include <cstdio>

enum class LogFormat
{
    Text, ///< for a person: errors, warnings and traces begin with a word for their level
    Json  ///< one object a line, see toJson
};

/** Returns a sink that writes lines up to `maxLevel` to a stream, each at once and whole. */
HOST_EXPORT LogSink makeLogLineWriter(std::FILE* stream, LogFormat format, Logger::LogLevel maxLevel);
