#include "plugin/VrelProcessWait.h"

#include <QDeadlineTimer>
#include <QProcess>

#include <algorithm>

bool VrelProcessWait::waitForEnd(QProcess& process, int timeout, std::function<bool()> const& takeOutput)
{
    constexpr int kReapTime = 5000;

    // waitForFinished never looks at the clock while output keeps coming: a flooding process is ended here.
    int const waitTime = timeout == -1 ? -1 : std::max(timeout, 0);
    QDeadlineTimer const deadline(waitTime == -1 ? QDeadlineTimer(QDeadlineTimer::Forever)
                                                 : QDeadlineTimer(waitTime));
    bool killed = false;
    auto const onOutput = [&process, &deadline, &takeOutput, &killed] {
        bool const goOn = !takeOutput || takeOutput();
        if (goOn && !deadline.hasExpired())
            return;
        process.kill();
        killed = true;
    };
    QMetaObject::Connection const guard =
        QObject::connect(&process, &QProcess::channelReadyRead, &process, onOutput, Qt::DirectConnection);
    bool const finished = process.waitForFinished(waitTime);
    if (!finished) {
        process.kill();
        process.waitForFinished(kReapTime);
    }
    QObject::disconnect(guard);
    return finished && !killed;
}
