#pragma once

#include "external/HostExport.h"
#include "external/Logger.h"

#include <QString>

#include <string>

/**
 * Labels lines with a name and a prefix and hands them to the host's log.
 *
 * Logging is possible from any thread; naming and binding are done before a handler is shared. 8-bit texts
 * are UTF-8; a null text is logged as an empty line.
 */
class HOST_EXPORT LogHandler
{
public:
    LogHandler();
    virtual ~LogHandler();

    LogHandler(LogHandler const&) = delete;
    LogHandler& operator=(LogHandler const&) = delete;

    void setName(QString const& name);
    void setPrefix(QString const& prefix);

    void logMessage(Logger::LogLevel level, char const* text) const;
    void logMessage(Logger::LogLevel level, QString const& text) const;
    void logMessage(Logger::LogLevel level, std::string const& text) const;
    /** Logs a label and its value as separate texts. */
    void logMessage(Logger::LogLevel level, QString const& label, QString const& value) const;

    /**
     * From now on, what is logged through `other` is logged through this handler, under its name and prefix.
     * This handler must outlive `other`.
     */
    void bind(LogHandler const& other) const;

private:
    LogHandler const& target() const;

    QString m_name;
    QString m_prefix;
    mutable LogHandler const* m_target = nullptr;
};
