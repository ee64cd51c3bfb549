#include "plugin/VrelProcessWait.h"

#include <QDeadlineTimer>
#include <QProcess>

#include <sys/wait.h>

namespace {

/** Whether a process was not reaped yet: afterwards its ID may be another one's. */
bool isThere(QProcess const& process)
{
    siginfo_t info;
    return ::waitid(P_PID, static_cast<id_t>(process.processId()), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

} // namespace

bool VrelProcessWait::waitForExit(QProcess& process, unsigned long long timeout)
{
    constexpr int kReapTime = 5000;
    QDeadlineTimer const deadline(static_cast<int>(static_cast<quint32>(timeout))); // -1 is forever
    auto const remaining = [&deadline] { return static_cast<int>(deadline.remainingTime()); };

    // waitForFinished does not look at the clock while output keeps coming: a flooding process is ended here.
    auto const killInTime = [&process, &deadline] {
        if (deadline.hasExpired() && isThere(process))
            process.kill();
    };
    QMetaObject::Connection const guard =
        QObject::connect(&process, &QProcess::channelReadyRead, &process, killInTime, Qt::DirectConnection);
    // The start is waited for apart: waitForFinished would take a start of more than the whole time for "no
    // limit".
    bool const isStarted = process.state() != QProcess::Starting || process.waitForStarted(remaining());
    if (!isStarted || !process.waitForFinished(remaining())) {
        process.kill();
        process.waitForFinished(kReapTime);
    }
    QObject::disconnect(guard);
    return process.state() == QProcess::NotRunning && process.error() != QProcess::FailedToStart &&
           process.exitStatus() == QProcess::NormalExit;
}
