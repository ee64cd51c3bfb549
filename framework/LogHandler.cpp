#include "external/LogHandler.h"

#include "framework/LogSink.h"

#include <memory>
#include <mutex>

namespace {

/**
 * The process's sink. A line holds a share of it, so that it may be replaced while lines are being logged.
 */
class SinkHolder
{
public:
    std::shared_ptr<LogSink const> get()
    {
        std::lock_guard const lock(m_mutex);
        return m_sink;
    }

    std::shared_ptr<LogSink const> exchange(std::shared_ptr<LogSink const> sink)
    {
        std::lock_guard const lock(m_mutex);
        m_sink.swap(sink);
        return sink;
    }

private:
    std::mutex m_mutex;
    std::shared_ptr<LogSink const> m_sink;
};

/** Never destroyed: objects that log may go after any other. */
SinkHolder& sinkHolder()
{
    static auto& s_holder = *new SinkHolder;
    return s_holder;
}

void log(LogLine const& line)
{
    if (auto const sink = sinkHolder().get())
        (*sink)(line);
}

} // namespace

LogSink setLogSink(LogSink sink)
{
    auto const next = sink ? std::make_shared<LogSink const>(std::move(sink)) : nullptr;
    auto const previous = sinkHolder().exchange(next);
    return previous ? *previous : LogSink();
}

LogHandler::LogHandler() = default;

LogHandler::~LogHandler() = default;

void LogHandler::setName(QString const& name)
{
    m_name = name;
}

void LogHandler::setPrefix(QString const& prefix)
{
    m_prefix = prefix;
}

void LogHandler::logMessage(Logger::LogLevel level, char const* text) const
{
    logMessage(level, QString::fromUtf8(text));
}

void LogHandler::logMessage(Logger::LogLevel level, std::string const& text) const
{
    logMessage(level, QString::fromStdString(text));
}

void LogHandler::logMessage(Logger::LogLevel level, QString const& text) const
{
    LogHandler const& origin = target();
    log({level, origin.m_name, origin.m_prefix, false, text, QString(), QString(), std::nullopt, &origin});
}

void LogHandler::logMessage(Logger::LogLevel level, QString const& label, QString const& value) const
{
    LogHandler const& origin = target();
    log({level, origin.m_name, origin.m_prefix, true, QString(), label, value, std::nullopt, &origin});
}

void LogHandler::bind(LogHandler const& other) const
{
    if (&other != this)
        other.m_target = this;
}

LogHandler const& LogHandler::target() const
{
    return m_target == nullptr ? *this : m_target->target();
}
