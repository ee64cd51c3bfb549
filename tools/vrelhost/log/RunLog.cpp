#include "tools/vrelhost/log/RunLog.h"

#include "external/LogHandler.h"
#include "framework/LogLines.h"
#include "tools/common/ReportText.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/log/LogFile.h"
#include "tools/vrelhost/log/TerminalLog.h"

#include <map>
#include <mutex>
#include <utility>
#include <vector>

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
        std::optional<DeviceName> device; ///< as the lines name it
        std::unique_ptr<LogFile> file;
        bool isBegun = false;      ///< whether the file has its first line
        std::vector<LogLine> held; ///< lines from before that
        QString lastError;
        int step = 0;
        QString command;
    };

    LogSink next;
    std::mutex mutex; ///< guards the entries
    std::map<LogHandler const*, Entry> entries;

    void take(LogLine line)
    {
        QString fault;
        {
            std::lock_guard const lock(mutex);
            auto const found = entries.find(line.origin);
            if (found != entries.end())
                fault = complete(line, found->second);
        }
        next(line);
        report(line, fault);
    }

    /** Why a line could not be written. */
    void report(LogLine line, QString const& fault) const
    {
        if (fault.isEmpty())
            return;
        line.level = kWarningLevel;
        line.isLabelled = false;
        line.text = fault;
        next(line);
    }

    static QString complete(LogLine& line, Entry& entry)
    {
        line.device = entry.device;
        line.step = entry.step;
        line.command = entry.command;
        if (line.level <= kErrorLevel)
            entry.lastError = toText(line);
        if (entry.file && !entry.isBegun)
            entry.held.push_back(line);
        return entry.file && entry.isBegun ? entry.file->write(line) : QString();
    }

    /** Writes a line that is for the file alone, then those that were held. */
    void write(LogHandler const& log, QString const& text, QByteArray const& members)
    {
        LogLine line;
        line.level = kProgressLevel;
        line.name = QStringLiteral("vrelhost");
        line.text = text;
        QString fault;
        {
            std::lock_guard const lock(mutex);
            Entry& entry = entries.at(&log);
            if (!entry.file)
                return;
            line.device = entry.device;
            line.prefix = entry.device ? label(*entry.device) : QString();
            fault = entry.file->write(line, members);
            entry.isBegun = true;
            for (LogLine const& held : std::exchange(entry.held, {}))
                fault += entry.file->write(held); // only one is told
        }
        report(line, fault);
    }
};

RunLog::RunLog(TerminalLog* terminal, std::optional<QString> directory)
    : m_state(std::make_shared<State>())
    , m_terminal(terminal)
    , m_directory(std::move(directory))
{
    m_state->next = setLogSink({});
    setLogSink([state = m_state](LogLine const& line) { state->take(line); });
}

RunLog::~RunLog()
{
    setLogSink(m_state->next);
}

LogHandler& RunLog::add(DeviceName const& device, bool isNamed, QString& error)
{
    State::Entry entry;
    error.clear();
    if (m_directory)
        entry.file = LogFile::create(*m_directory, device, error);
    std::lock_guard const lock(m_state->mutex);
    LogHandler& log = VendorApi::lastingLog(QStringLiteral("vrelhost"));
    if (isNamed) {
        entry.device = device;
        log.setPrefix(label(device));
    }
    m_state->entries.emplace(&log, std::move(entry));
    return log;
}

void RunLog::remove(LogHandler const& log)
{
    std::lock_guard const lock(m_state->mutex);
    m_state->entries.erase(&log);
}

QString RunLog::file(LogHandler const& log) const
{
    std::lock_guard const lock(m_state->mutex);
    auto const& file = m_state->entries.at(&log).file;
    return file ? file->name() : QString();
}

void RunLog::begin(LogHandler const& log, QString const& text, QByteArray const& members)
{
    m_state->write(log, text, members);
    std::lock_guard const lock(m_state->mutex);
    auto const& device = m_state->entries.at(&log).device;
    if (m_terminal != nullptr && device)
        m_terminal->beginDevice(log, label(*device));
}

void RunLog::beginStep(LogHandler const& log, int number, int count, QString const& command)
{
    std::lock_guard const lock(m_state->mutex);
    State::Entry& entry = m_state->entries.at(&log);
    entry.step = number;
    entry.command = command;
    entry.lastError = QString();
    if (m_terminal != nullptr)
        m_terminal->showStep(log, QStringLiteral("%1/%2 %3").arg(number).arg(count).arg(command));
}

void RunLog::end(LogHandler const& log, QString const& text, QByteArray const& members)
{
    m_state->write(log, text, members);
    {
        std::lock_guard const lock(m_state->mutex);
        m_state->entries.at(&log).file.reset();
    }
    if (m_terminal != nullptr)
        m_terminal->endDevice(log);
}

QString RunLog::lastError(LogHandler const& log) const
{
    std::lock_guard const lock(m_state->mutex);
    return m_state->entries.at(&log).lastError;
}
