#pragma once

#include "framework/LogSink.h"

#include <QElapsedTimer>

#include <QStringList>

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/**
 * The log on a terminal: lines in the colour of their level and, below them while work goes on, a line for
 * each device that is worked on, as many as the window has room for, and one for all: the time it has taken,
 * how much is done, and the latest message. Texts cannot steer the terminal. Safe for any thread.
 *
 * `TERM=dumb`, or no TERM, leaves plain lines; a NO_COLOR that is not empty leaves the colours out.
 */
class TerminalLog
{
public:
    static bool isTerminal(std::FILE* stream);

    TerminalLog(std::FILE* stream, Logger::LogLevel maxLevel);
    ~TerminalLog();

    /**
     * Takes what shows work off the terminal for good; calls nothing but what a signal handler may.
     */
    static void eraseAtOnce();

    TerminalLog(TerminalLog const&) = delete;
    TerminalLog& operator=(TerminalLog const&) = delete;

    /** Writes a line up to the highest level, at once and whole. */
    void write(LogLine const& line);

    /** Begins, with the time at zero, or ends to show that work goes on. Not from several threads at once. */
    void showWork(bool isShown);

    /** How much of all is done. */
    void showProgress(QString progress);

    /** How the work is about to end. */
    void showEnd(QString end);

    /** Begins to show a device, whose lines come from a handler. */
    void beginDevice(LogHandler const& log, QString const& label);
    void showStep(LogHandler const& log, QString const& step);
    void endDevice(LogHandler const& log);

    /** Does what writes to the same terminal, with nothing of the work on it meanwhile. */
    void writeBetween(std::function<void()> const& write);

private:
    /** A device that is being worked on. */
    struct Device
    {
        LogHandler const* log;
        QString label;
        QString step;
        QElapsedTimer time;
        QString latest;
    };

    Device* find(LogHandler const* log);
    QStringList workLines(int most) const;
    void redrawUntilEnd();
    void draw();
    void erase();
    void put(QByteArray const& bytes) const;

    std::FILE* const m_stream;
    Logger::LogLevel const m_maxLevel;
    bool const m_canMove; ///< whether the terminal knows more than plain lines
    bool const m_hasColours;
    std::thread m_redrawer;
    std::condition_variable m_end;

    std::mutex m_mutex; ///< guards all below, and the stream
    bool m_isWorking = false;
    bool m_isDrawn = false;
    QElapsedTimer m_time;
    QString m_progress;
    QString m_ending;              ///< how the work is about to end
    QString m_latest;              ///< message of none of the devices
    std::vector<Device> m_devices; ///< in the order of their labels
};
