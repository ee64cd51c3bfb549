#include "tools/vrelhost/RequestRunner.h"

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/common/ExecutableFault.h"
#include "tools/vrelhost/GroupLeader.h"
#include "tools/vrelhost/InterruptibleRunner.h"
#include "tools/vrelhost/Interruption.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>

namespace {

/** Takes the arguments and starts nothing. */
class ArgumentCollector : public VrelFlashUtils::ExeRunner
{
public:
    void run(QProcess& /*process*/, QString const& /*exe*/, QStringList const& args,
             unsigned long long /*timeout*/) override
    {
        collected = args;
        success = true;
    }

    QStringList collected;
};

/** While it lives, notices whether the log gets an error. Of one thread at a time, as downloaders are. */
class ErrorWatch
{
public:
    ErrorWatch()
        : m_next(setLogSink({}))
    {
        setLogSink([this](LogLine const& line) {
            m_hasError = m_hasError || line.level <= kErrorLevel;
            m_next(line);
        });
    }

    ~ErrorWatch() { setLogSink(m_next); }

    ErrorWatch(ErrorWatch const&) = delete;
    ErrorWatch& operator=(ErrorWatch const&) = delete;

    bool hasError() const { return m_hasError; }

private:
    LogSink const m_next;
    bool m_hasError = false;
};

} // namespace

RequestRunner::RequestRunner(VrelFlashUtils& command, QString serial, LogHandler& log,
                             Interruption const* interruption)
    : m_command(command)
    , m_serial(std::move(serial))
    , m_log(log)
    , m_interruption(interruption)
{
}

bool RequestRunner::runDownloader(QString const& exe, int timeout)
{
    QString const fault = executableFault(exe);
    if (!fault.isEmpty()) {
        m_log.logMessage(
            1, QStringLiteral("Cannot run the downloader '%1': %2; name it with --exe").arg(exe, fault));
        return false;
    }
    ErrorWatch const watch;
    QElapsedTimer timer;
    timer.start();
    // A negative time-out keeps its meaning in the low bits.
    // An absolute path, since a bare name would be looked up in PATH.
    QString const file = QFileInfo(exe).absoluteFilePath();
    if (run(file, static_cast<unsigned long long>(timeout)))
        return true;
    if (m_interruption != nullptr && m_interruption->isRequested())
        m_log.logMessage(1, "The downloader was ended: the run was interrupted");
    else if (timeout != kNoTimeout && timer.elapsed() >= timeout)
        m_log.logMessage(1, QStringLiteral("The downloader did not finish within %1 ms and was ended; "
                                           "--timeout gives it more time")
                                .arg(timeout));
    else if (!watch.hasError()) // otherwise the downloader has said more
        m_log.logMessage(1, QStringLiteral("The downloader '%1' failed; see its lines above").arg(exe));
    return false;
}

bool RequestRunner::run(QString const& exe, unsigned long long timeout)
{
    if (m_interruption == nullptr)
        return m_command.run(exe, m_serial, m_log, timeout);
    GroupLeader process;
    InterruptibleRunner runner(*m_interruption);
    m_command.commonRun(process, exe, m_serial, m_log, runner, timeout);
    return runner.success;
}

QStringList RequestRunner::downloaderArguments()
{
    // The library wants a file that could be run before it tells the arguments; this very program will do.
    QProcess process;
    ArgumentCollector collector;
    m_command.commonRun(process, QCoreApplication::applicationFilePath(), m_serial, m_log, collector, 0);
    return collector.collected;
}
