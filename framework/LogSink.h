#pragma once

#include "external/HostExport.h"
#include "external/Logger.h"

#include <QString>

#include <functional>
#include <optional>

/**
 * @file
 * Where the log lines of a process go.
 */

class LogHandler;

/** The device that a line belongs to. */
struct DeviceName
{
    QString serial;
    QString path; ///< USB path; null when it is not known
};

/** One logged line. */
struct LogLine
{
    Logger::LogLevel level = 0;
    QString name;   ///< name of the handler that logged it
    QString prefix; ///< its prefix
    bool isLabelled = false;
    QString text;  ///< of a line logged as one text; may itself hold several lines
    QString label; ///< of a line logged with label and value
    QString value;
    std::optional<DeviceName> device = {}; ///< set by a sink that knows it
    LogHandler const* origin = nullptr;    ///< the handler that logged it; may be gone when the line is kept
    int step = 0;         ///< of a recipe, from 1; 0 without one; set by a sink that knows it
    QString command = {}; ///< what the step does
};

/**
 * Receives every line, on the thread that logs it; several threads may log at once. What is logged while it
 * works, on the same thread, is dropped.
 */
using LogSink = std::function<void(LogLine const&)>;

/**
 * Sets where the lines of all handlers of this process go, and returns where they went before. Without a sink
 * they are dropped. A line being logged on another thread meanwhile goes to one of the two.
 */
HOST_EXPORT LogSink setLogSink(LogSink sink);
