#include "plugin/VrelProcessWait.h"

#include <QDeadlineTimer>
#include <QProcess>

#include <algorithm>

bool VrelProcessWait::waitForExit(QProcess& process, unsigned long long timeout)
{
    constexpr int kReapTime = 5000;
    constexpr int kForever = -1;

    int const waitTime = static_cast<int>(static_cast<quint32>(timeout));
    QDeadlineTimer const deadline(waitTime == kForever ? QDeadlineTimer(QDeadlineTimer::Forever)
                                                       : QDeadlineTimer(std::max(waitTime, 0)));
    auto const remaining = [&deadline] { return static_cast<int>(deadline.remainingTime()); };

    // waitForFinished never looks at the clock while output keeps coming: a flooding process is ended here.
    auto const killInTime = [&process, &deadline] {
        if (deadline.hasExpired())
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
