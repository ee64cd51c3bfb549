#pragma once

#include "framework/LogSink.h"

#include <mutex>
#include <string>
#include <vector>

/** Takes over the process's log for its lifetime and keeps every line, from any thread. */
class LogRecorder
{
public:
    LogRecorder();
    ~LogRecorder();
    LogRecorder(LogRecorder const&) = delete;
    LogRecorder& operator=(LogRecorder const&) = delete;

    /** The lines so far as "LEVEL text", or "LEVEL label|value". */
    std::vector<std::string> lines() const;
    std::vector<LogLine> records() const;
    void clear();

private:
    mutable std::mutex m_mutex;
    std::vector<LogLine> m_records;
    LogSink m_previous;
};

using Lines = std::vector<std::string>;
