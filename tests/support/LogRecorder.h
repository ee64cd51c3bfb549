#pragma once

#include "framework/LogSink.h"

#include <mutex>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/** "LEVEL text", or "LEVEL label|value". */
inline std::string shown(LogLine const& line)
{
    QString const text = line.isLabelled ? line.label + QLatin1Char('|') + line.value : line.text;
    return std::to_string(line.level) + ' ' + text.toStdString();
}

/** Takes over the process's log for its lifetime and keeps every line, from any thread. */
class LogRecorder
{
public:
    LogRecorder()
        : m_previous(setLogSink([this](LogLine const& line) {
            std::lock_guard const lock(m_mutex);
            m_records.push_back(line);
        }))
    {
    }
    ~LogRecorder() { setLogSink(m_previous); }
    LogRecorder(LogRecorder const&) = delete;
    LogRecorder& operator=(LogRecorder const&) = delete;

    /** The lines so far, shown. */
    Lines lines() const
    {
        Lines lines;
        for (LogLine const& line : records())
            lines.push_back(shown(line));
        return lines;
    }

    std::vector<LogLine> records() const
    {
        std::lock_guard const lock(m_mutex);
        return m_records;
    }

    void clear()
    {
        std::lock_guard const lock(m_mutex);
        m_records.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::vector<LogLine> m_records;
    LogSink m_previous;
};
