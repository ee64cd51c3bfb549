#pragma once

/** The host's logger. */
struct Logger
{
    /** A plain number; see the levels below. */
    using LogLevel = int;
};

constexpr Logger::LogLevel kFatalLevel = 0; ///< always shown
constexpr Logger::LogLevel kErrorLevel = 1;
constexpr Logger::LogLevel kWarningLevel = 2;
constexpr Logger::LogLevel kProgressLevel = 3; ///< progress and results
constexpr Logger::LogLevel kTraceLevel = 4;    ///< what is being run
constexpr Logger::LogLevel kRawLevel = 5;      ///< raw output, and the vendor API's messages of unknown level
constexpr Logger::LogLevel kHighestLogLevel = kRawLevel;
