#pragma once

#include "framework/LogSink.h"

#include <memory>

/**
 * While it lives, log lines of the handlers that it has made tell their device too, and each one's last error
 * is kept. Lines are told apart by their handler, so that nothing in a device's name can make one pass for
 * another's. Safe for any thread, but for making handlers.
 */
class RunLog
{
public:
    RunLog();
    ~RunLog();

    RunLog(RunLog const&) = delete;
    RunLog& operator=(RunLog const&) = delete;

    /** A handler for a device, whose prefix names it; it is never destroyed. */
    LogHandler& add(DeviceName const& device);

    /** The text of the handler's last line at level 0 or 1; null without one. */
    QString lastError(LogHandler const& log) const;

private:
    struct State;

    std::shared_ptr<State> const m_state; ///< shared with the sink, which other threads may be in
};
