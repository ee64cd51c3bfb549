#include "tools/vrelhost/RunLog.h"

#include "external/LogHandler.h"
#include "framework/LogLines.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/ReportText.h"

#include <map>
#include <mutex>

namespace {

QString label(DeviceName const& device)
{
    return ReportText::printable(device.path.isNull() ? device.serial
                                                      : device.path + QLatin1Char(' ') + device.serial);
}

} // namespace

struct RunLog::State
{
    struct Entry
    {
        DeviceName device;
        QString lastError;
    };

    LogSink next;
    std::mutex mutex; ///< guards the entries
    std::map<LogHandler const*, Entry> entries;

    void take(LogLine line)
    {
        {
            std::lock_guard const lock(mutex);
            auto const entry = entries.find(line.origin);
            if (entry != entries.end()) {
                line.device = entry->second.device;
                if (line.level <= kErrorLevel)
                    entry->second.lastError = toText(line);
            }
        }
        next(line);
    }
};

RunLog::RunLog()
    : m_state(std::make_shared<State>())
{
    m_state->next = setLogSink({});
    setLogSink([state = m_state](LogLine const& line) { state->take(line); });
}

RunLog::~RunLog()
{
    setLogSink(m_state->next);
}

LogHandler& RunLog::add(DeviceName const& device)
{
    LogHandler& log = VendorApi::lastingLog(QStringLiteral("vrelhost"));
    log.setPrefix(label(device));
    std::lock_guard const lock(m_state->mutex);
    m_state->entries.emplace(&log, State::Entry{device, QString()});
    return log;
}

QString RunLog::lastError(LogHandler const& log) const
{
    std::lock_guard const lock(m_state->mutex);
    return m_state->entries.at(&log).lastError;
}
