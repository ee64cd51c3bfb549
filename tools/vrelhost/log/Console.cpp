#include "tools/vrelhost/log/Console.h"

#include "external/LogHandler.h"
#include "framework/LogLines.h"
#include "tools/common/ToolProcess.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/log/TerminalLog.h"

#include <climits>
#include <limits>
#include <poll.h>
#include <sys/stat.h>

Console::Console(std::FILE* output, std::FILE* log)
    : m_output(output)
    , m_logStream(log)
    , m_log(VendorApi::lastingLog(QStringLiteral("vrelhost")))
{
    setLog(LogFormat::Text, kProgressLevel);
}

void Console::setLog(LogFormat format, Logger::LogLevel maxLevel)
{
    m_terminal.reset();
    if (format == LogFormat::Text && TerminalLog::isTerminal(m_logStream))
        m_terminal = std::make_shared<TerminalLog>(m_logStream, maxLevel);
    if (m_terminal)
        setLogSink([terminal = m_terminal](LogLine const& line) { terminal->write(line); });
    else
        setLogSink(makeLogLineWriter(m_logStream, format, maxLevel));
}

void Console::showWork(bool isShown) const
{
    if (m_terminal)
        m_terminal->showWork(isShown);
}

void Console::showProgress(QString const& progress) const
{
    if (m_terminal)
        m_terminal->showProgress(progress);
}

void Console::showEnd(QString const& end) const
{
    if (m_terminal)
        m_terminal->showEnd(end);
}

bool Console::takesOutput() const
{
    pollfd stream = {::fileno(m_output), POLLOUT, 0};
    return ::poll(&stream, 1, 0) != 0; // also for an error, which a write then shows
}

int Console::atOnce() const
{
    struct stat status = {};
    bool const isFile =
        ::fstat(::fileno(m_output), &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode));
    return isFile ? std::numeric_limits<int>::max() : PIPE_BUF;
}

int Console::print(QByteArray const& text, QString const& what) const
{
    QString fault;
    auto const write = [&] {
        if (!writeWhole(m_output, text))
            fault = qt_error_string();
    };
    if (m_terminal)
        m_terminal->writeBetween(write); // which may be the same terminal
    else
        write();
    if (fault.isEmpty())
        return ExitSuccess;
    m_log.logMessage(kErrorLevel, QStringLiteral("Cannot write %1: %2").arg(what, fault));
    return ExitFailure;
}
