#pragma once

#include "external/LogHandler.h"
#include "plugin/VrelErrorText.h"

#include <QByteArray>
#include <QString>

namespace VrelUtilsCommand {

/** A text as a NUL-terminated UTF-8 argument of a vendor API operation; never null. */
class Utf8
{
public:
    explicit Utf8(QString const& text)
        : m_bytes(text.toUtf8())
    {
    }
    operator char const*() const { return m_bytes.constData(); } // NOLINT(google-explicit-constructor)

private:
    QByteArray const m_bytes;
};

/** Logs a line of progress or result: its fixed text, and what follows it. */
void logProgress(LogHandler& log, char const* text, QString const& value = QString());

/** Logs the line that every command with a recovery module begins with. */
void logModuleVersion(QString const& modulePath, LogHandler& log);

/** One vendor API operation of a command, from its start line to its success or error line. */
class Procedure
{
public:
    /** Logs the start line. @param name as it stands in both lines */
    Procedure(char const* name, LogHandler& log);

    /** The operation's error-text buffer. */
    char* errorText() { return m_errorText.buffer(); }

    /** Whether the operation's result is a success; otherwise logs its error text. */
    bool succeeded(int result) const;

    /** Logs the success line. */
    void logSuccess() const;

    /** The end of a command that prints no results: the success line or the error text, and the verdict. */
    bool conclude(int result) const;

private:
    QString const m_name;
    LogHandler& m_log;
    VrelErrorText m_errorText;
};

} // namespace VrelUtilsCommand
