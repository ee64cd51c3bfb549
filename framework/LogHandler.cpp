#include "external/LogHandler.h"

#include "external/LoggedObject.h"
#include "framework/LogSink.h"

#include <QScopedValueRollback>

#include <atomic>
#include <memory>

namespace {

using SharedSink = std::shared_ptr<LogSink const>;

/**
 * The process's. A line holds a share of it, so that it may be replaced while lines are being logged. Never
 * destroyed: objects that log may go after any other.
 */
SharedSink& processSink()
{
    static auto& s_sink = *new SharedSink;
    return s_sink;
}

void log(LogLine const& line)
{
    thread_local bool t_isLogging = false;
    if (t_isLogging) // what logging itself brings about would come without end, or wait for itself
        return;
    QScopedValueRollback<bool> const guard(t_isLogging, true);
    if (auto const sink = std::atomic_load(&processSink()))
        (*sink)(line);
}

} // namespace

LogSink setLogSink(LogSink sink)
{
    auto const next = sink ? std::make_shared<LogSink const>(std::move(sink)) : nullptr;
    auto const previous = std::atomic_exchange(&processSink(), next);
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

LoggedObject::LoggedObject() = default;

LoggedObject::~LoggedObject() = default;

LogHandler& LoggedObject::logHandler()
{
    return m_logHandler;
}

LogHandler const& LoggedObject::logHandler() const
{
    return m_logHandler;
}
