#include "tools/vrelhost/runs/DownloaderRun.h"

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelProcessWait.h"
#include "tools/common/CommandLine.h"
#include "tools/vrelhost/runs/ProcessGroup.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>

#include <csignal>

namespace {

/** Starts and waits as the library does, which tells nothing of a process of its own. */
class Runner : public VrelFlashUtils::ExeRunner
{
public:
    explicit Runner(LogHandler const& log)
        : m_log(log)
    {
    }

    void run(QProcess& process, QString const& exe, QStringList const& args,
             unsigned long long timeout) override
    {
        // One that reads sees the end, and takes nothing that is meant for others, unless the request says
        // so.
        if (args.contains(QStringLiteral("/dev/stdin")))
            process.setInputChannelMode(QProcess::ForwardedInputChannel);
        else
            process.setStandardInputFile(QProcess::nullDevice());
        ProcessGroup::start(process, exe, args, ProcessGroup::End::WhenKilled);
        success = VrelProcessWait::waitForExit(process, timeout, m_log) == 0;
    }

private:
    LogHandler const& m_log;
};

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

} // namespace

DownloaderRun::DownloaderRun(VrelFlashUtils& command, QString serial, LogHandler& log)
    : m_command(command)
    , m_serial(std::move(serial))
    , m_log(log)
{
}

bool DownloaderRun::run(QString const& exe, int timeout)
{
    QString const fault = executableFault(exe);
    if (!fault.isEmpty()) {
        m_log.logMessage(
            kErrorLevel,
            QStringLiteral("Cannot run the downloader '%1': %2; give its path with --exe").arg(exe, fault));
        return false;
    }
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    Runner runner(m_log);
    // An absolute path, since a bare name would be looked up in PATH. A negative time-out keeps its meaning
    // in the low bits.
    m_command.commonRun(process, QFileInfo(exe).absoluteFilePath(), m_serial, m_log, runner,
                        static_cast<unsigned long long>(timeout));
    if (runner.success)
        return true;
    bool const wasKilled = process.exitStatus() == QProcess::CrashExit;
    if (wasKilled && timeout != kNoTimeout && timer.elapsed() >= timeout)
        m_log.logMessage(
            kErrorLevel,
            QStringLiteral(
                "The downloader did not finish within %1 ms and was killed; --timeout gives it more time")
                .arg(timeout));
    return false;
}

QStringList DownloaderRun::arguments()
{
    // The library wants a file that could be run before it tells the arguments; this very program will do.
    QProcess process;
    ArgumentCollector collector;
    m_command.commonRun(process, QCoreApplication::applicationFilePath(), m_serial, m_log, collector, 0);
    return collector.collected;
}

DownloaderStarter::DownloaderStarter(QString const& exe)
    // A name that findProgram left alone must not become a file of the working directory.
    : m_exe(executableFault(exe).isEmpty() ? QFileInfo(exe).absoluteFilePath() : QString())
{
}

bool DownloaderStarter::startProgram(QProcess& process, QStringList const& arguments)
{
    m_wasKilled = false;
    if (m_exe.isEmpty())
        return false;
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                     [this](int signal, QProcess::ExitStatus status) {
                         m_wasKilled = status == QProcess::CrashExit && signal == SIGKILL;
                     });
    process.setStandardInputFile(QProcess::nullDevice());
    ProcessGroup::start(process, m_exe, arguments, ProcessGroup::End::WhenKilled);
    return process.waitForStarted();
}
