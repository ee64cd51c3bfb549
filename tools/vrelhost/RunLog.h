#pragma once

#include "framework/LogSink.h"

#include <map>
#include <mutex>
#include <vector>

/**
 * While it lives, log lines whose prefix is a device's label tell the device too, and each device's last
 * error is kept. Safe for any thread.
 */
class RunLog
{
public:
    explicit RunLog(std::vector<DeviceName> const& devices);
    ~RunLog();

    RunLog(RunLog const&) = delete;
    RunLog& operator=(RunLog const&) = delete;

    /** The prefix of the lines that belong to a device. */
    static QString label(DeviceName const& device);

    /** The text of the device's last line at level 0 or 1; null without one. */
    QString lastError(DeviceName const& device) const;

private:
    struct Entry
    {
        DeviceName device;
        QString lastError;
    };

    void take(LogLine line);

    LogSink const m_next;
    mutable std::mutex m_mutex; ///< guards the errors
    std::map<QString, Entry> m_entries;
};
