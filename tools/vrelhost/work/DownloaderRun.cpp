#include "tools/vrelhost/work/DownloaderRun.h"

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelProcessWait.h"
#include "tools/common/CommandLine.h"
#include "tools/vrelhost/work/Interruption.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <csignal>
#include <memory>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** Kills what is left of a group, and waits until it has given back what it holds, which the system may
 * delay. */
void endGroup(pid_t group)
{
    constexpr unsigned long kInterval = 5;
    constexpr int kReapTime = 5000;
    ::kill(-group, SIGKILL);
    QDeadlineTimer const deadline(kReapTime);
    while (::kill(-group, 0) == 0 && !deadline.hasExpired()) {
        if (::waitpid(-group, nullptr, WNOHANG) <= 0)
            QThread::msleep(kInterval);
    }
}

/**
 * Starts a downloader that leads a session, and so a process group, of its own: an interruption ends the
 * group with it, and so does its being killed. The end of this thread, however it comes, kills it.
 */
void start(QProcess& process, QString const& exe, QStringList const& arguments)
{
    // What a downloader leaves becomes this process's to reap: the system's own reaper may take its time.
    static_cast<void>(::prctl(PR_SET_CHILD_SUBREAPER, 1));
    auto const group = std::make_shared<pid_t>(0);
    QObject::connect(&process, &QProcess::started, [&process, group] {
        *group = static_cast<pid_t>(process.processId());
        Interruption::setGroup(*group);
    });
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                     [group](int /*exitCode*/, QProcess::ExitStatus status) {
                         Interruption::setGroup(0);
                         if (status == QProcess::CrashExit)
                             endGroup(*group);
                     });
    // Both become what they start. By their paths, since PATH may lead to others.
    QStringList const prefix{QStringLiteral("/usr/bin/setpriv"), QStringLiteral("--pdeathsig"),
                             QStringLiteral("KILL"), QStringLiteral("--"), exe};
    process.start(QStringLiteral("/usr/bin/setsid"), prefix + arguments, QIODevice::ReadOnly);
}

/** Starts and waits as the library does, which tells nothing of a process of its own. */
class Runner : public VrelFlashUtils::ExeRunner
{
public:
    void run(QProcess& process, QString const& exe, QStringList const& args,
             unsigned long long timeout) override
    {
        // One that reads sees the end, and takes nothing that is meant for others, unless the request says
        // so.
        if (args.contains(QStringLiteral("/dev/stdin")))
            process.setInputChannelMode(QProcess::ForwardedInputChannel);
        else
            process.setStandardInputFile(QProcess::nullDevice());
        start(process, exe, args);
        success = VrelProcessWait::waitForExit(process, timeout) && process.exitCode() == 0;
    }
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
            QStringLiteral("Cannot run the downloader '%1': %2; name it with --exe").arg(exe, fault));
        return false;
    }
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    Runner runner;
    // An absolute path, since a bare name would be looked up in PATH. A negative time-out keeps its meaning
    // in the low bits.
    m_command.commonRun(process, QFileInfo(exe).absoluteFilePath(), m_serial, m_log, runner,
                        static_cast<unsigned long long>(timeout));
    if (runner.success)
        return true;
    bool const wasKilled = process.exitStatus() == QProcess::CrashExit;
    if (wasKilled && Interruption::isRequested())
        m_log.logMessage(kErrorLevel, "The downloader was ended: the run was interrupted");
    else if (wasKilled && timeout != kNoTimeout && timer.elapsed() >= timeout)
        m_log.logMessage(kErrorLevel,
                         QStringLiteral("The downloader did not finish within %1 ms and was ended; "
                                        "--timeout gives it more time")
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
    start(process, m_exe, arguments);
    return process.waitForStarted();
}

void reapLeftProcesses()
{
    siginfo_t ended = {};
    // A descendant of a downloader is in another session than what a library starts.
    while (::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0 &&
           ::getsid(ended.si_pid) != ::getsid(0)) {
        ::waitpid(ended.si_pid, nullptr, WNOHANG);
        ended.si_pid = 0;
    }
}
