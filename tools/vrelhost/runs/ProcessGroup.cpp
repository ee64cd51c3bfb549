#include "tools/vrelhost/runs/ProcessGroup.h"

#include "tools/vrelhost/runs/Interruption.h"

#include <QDeadlineTimer>
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

} // namespace

void ProcessGroup::start(QProcess& process, QString const& program, QStringList const& arguments, End end)
{
    // What a program leaves becomes this process's to reap: the system's own reaper may take its time.
    static_cast<void>(::prctl(PR_SET_CHILD_SUBREAPER, 1));
    auto const group = std::make_shared<pid_t>(0);
    QObject::connect(&process, &QProcess::started, [&process, group] {
        *group = static_cast<pid_t>(process.processId());
        Interruption::addGroup(*group);
    });
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                     [group, end](int /*exitCode*/, QProcess::ExitStatus status) {
                         while (Interruption::isRequested(Interruption::AtOnce))
                             ::pause(); // what was killed has no result
                         Interruption::removeGroup(*group);
                         if (status == QProcess::CrashExit || end == End::Always)
                             endGroup(*group);
                     });
    // Both become what they start. By their paths, since PATH may lead to others.
    QStringList const prefix{QStringLiteral("/usr/bin/setpriv"), QStringLiteral("--pdeathsig"),
                             QStringLiteral("KILL"), QStringLiteral("--"), program};
    process.start(QStringLiteral("/usr/bin/setsid"), prefix + arguments, QIODevice::ReadOnly);
}

void ProcessGroup::reapLeft()
{
    siginfo_t ended = {};
    // A descendant of such a program is in another session than what a library starts.
    while (::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0 &&
           ::getsid(ended.si_pid) != ::getsid(0)) {
        ::waitpid(ended.si_pid, nullptr, WNOHANG);
        ended.si_pid = 0;
    }
}
