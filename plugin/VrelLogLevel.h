#pragma once

#include "external/Logger.h"

/** The host's log levels by their use in the library. */
namespace VrelLogLevel {
constexpr Logger::LogLevel kFatal = 0; ///< only for the vendor API's own fatal messages
constexpr Logger::LogLevel kError = 1;
constexpr Logger::LogLevel kWarning = 2;
constexpr Logger::LogLevel kProgress = 3; ///< progress and results
constexpr Logger::LogLevel kTrace = 4;    ///< what is being run
constexpr Logger::LogLevel kRaw = 5;      ///< raw output, and vendor API messages of unknown level
} // namespace VrelLogLevel
