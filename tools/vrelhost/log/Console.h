#pragma once

#include "external/Logger.h"

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <memory>

class LogHandler;
class TerminalLog;
enum class LogFormat;

/** Where a tool's results and the log lines of its process go. */
class Console
{
public:
    /** @param output takes results; log lines go to `log` */
    Console(std::FILE* output, std::FILE* log);

    /** What log lines look like from now on, up to this level. */
    void setLog(LogFormat format, Logger::LogLevel maxLevel);

    /** For the tool's own lines. */
    LogHandler& log() const { return m_log; }

    /** Shows work on a terminal; null when the log is no text on one. */
    TerminalLog* terminal() const { return m_terminal.get(); }
    void showWork(bool isShown) const;
    void showProgress(QString const& progress) const;
    void showEnd(QString const& end) const;

    /** Whether bytes can be written without a wait for who reads them, and how many at a time. */
    bool takesOutput() const;
    int atOnce() const;

    /** Writes a result at once; yields the exit code. @param what it is, for people */
    int print(QByteArray const& text, QString const& what = QStringLiteral("the result")) const;

private:
    std::FILE* const m_output;
    std::FILE* const m_logStream;
    LogHandler& m_log;
    std::shared_ptr<TerminalLog> m_terminal; ///< shared with the sink
};
