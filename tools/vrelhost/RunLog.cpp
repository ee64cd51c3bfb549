#include "tools/vrelhost/RunLog.h"

#include "framework/LogLines.h"

RunLog::RunLog(std::vector<DeviceName> const& devices)
    : m_next(setLogSink({}))
{
    for (DeviceName const& device : devices)
        m_entries.emplace(label(device), Entry{device, QString()});
    setLogSink([this](LogLine const& line) { take(line); });
}

RunLog::~RunLog()
{
    setLogSink(m_next);
}

QString RunLog::label(DeviceName const& device)
{
    return device.path.isNull() ? device.serial : device.path + QLatin1Char(' ') + device.serial;
}

QString RunLog::lastError(DeviceName const& device) const
{
    std::lock_guard const lock(m_mutex);
    return m_entries.at(label(device)).lastError;
}

void RunLog::take(LogLine line)
{
    auto const entry = m_entries.find(line.prefix);
    if (entry != m_entries.end()) {
        line.device = entry->second.device;
        std::lock_guard const lock(m_mutex);
        if (line.level <= kErrorLevel)
            entry->second.lastError = toText(line);
    }
    m_next(line);
}
