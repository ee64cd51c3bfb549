#pragma once

#include "framework/LogSink.h"

#include <memory>
#include <optional>

class TerminalLog;

/**
 * While it lives, log lines of the handlers that it has made tell their device and step too, each one's last
 * error is kept, and with a directory all lines get into a file for each. Lines are told apart by their
 * handler, so that nothing in a device's name can make one pass for another's. Safe for any thread.
 */
class RunLog
{
public:
    /**
     * @param terminal shows what is being done to each device; may be null
     * @param directory of the files; none are made without
     */
    RunLog(TerminalLog* terminal, std::optional<QString> directory);
    ~RunLog();

    RunLog(RunLog const&) = delete;
    RunLog& operator=(RunLog const&) = delete;

    /**
     * A handler for a device; it is never destroyed.
     * @param isNamed whether its lines name the device
     * @param error why its file cannot be made; otherwise empty
     */
    LogHandler& add(DeviceName const& device, bool isNamed, QString& error);

    /** Lines that come later are no device's, and its file is done. */
    void remove(LogHandler const& log);

    /** The name of its file; null without one. */
    QString file(LogHandler const& log) const;

    /**
     * The device is being worked on from now on, as a terminal shows and a first line of its file tells,
     * which comes before those that were logged already.
     * @param members of that line, as for LogFile::write
     */
    void begin(LogHandler const& log, QString const& text, QByteArray const& members);

    /** So is this step of a recipe, as JSON lines tell. @param number of `count`, from 1 */
    void beginStep(LogHandler const& log, int number, int count, QString const& command);

    /** It is no longer, as the file's last line tells likewise. */
    void end(LogHandler const& log, QString const& text, QByteArray const& members);

    /**
     * The text of the handler's last line at level 0 or 1 since its step, if there is one, began; null
     * without one.
     */
    QString lastError(LogHandler const& log) const;

private:
    struct State;

    std::shared_ptr<State> const m_state; ///< shared with the sink, which other threads may be in
    TerminalLog* const m_terminal;
    std::optional<QString> const m_directory;
};
