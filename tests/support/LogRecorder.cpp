#include "tests/support/LogRecorder.h"

LogRecorder::LogRecorder()
    : m_previous(setLogSink([this](LogLine const& line) {
        std::lock_guard const lock(m_mutex);
        m_records.push_back(line);
    }))
{
}

LogRecorder::~LogRecorder()
{
    setLogSink(m_previous);
}

std::vector<std::string> LogRecorder::lines() const
{
    std::vector<std::string> lines;
    for (LogLine const& line : records()) {
        QString const text = line.isLabelled ? line.label + QLatin1Char('|') + line.value : line.text;
        lines.push_back(std::to_string(line.level) + ' ' + text.toStdString());
    }
    return lines;
}

std::vector<LogLine> LogRecorder::records() const
{
    std::lock_guard const lock(m_mutex);
    return m_records;
}

void LogRecorder::clear()
{
    std::lock_guard const lock(m_mutex);
    m_records.clear();
}
