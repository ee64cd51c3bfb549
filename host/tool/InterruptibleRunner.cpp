#include "host/tool/InterruptibleRunner.h"

#include "host/tool/Interruption.h"

#include <QEventLoop>
#include <QProcess>
#include <QSocketNotifier>
#include <QTimer>

InterruptibleRunner::InterruptibleRunner(Interruption const& interruption)
    : m_interruption(interruption)
{
}

void InterruptibleRunner::run(QProcess& process, QString const& exe, QStringList const& args,
                              unsigned long long timeout)
{
    constexpr int kReapTime = 5000;

    QEventLoop loop;
    bool isKilled = false;
    QTimer reapTimer;
    QObject::connect(&reapTimer, &QTimer::timeout, &loop, &QEventLoop::quit);
    QSocketNotifier interrupted(m_interruption.descriptor(), QSocketNotifier::Read);
    auto const kill = [&] {
        interrupted.setEnabled(false); // it stays readable
        isKilled = true;
        process.kill();
        reapTimer.start(kReapTime);
    };
    QObject::connect(&interrupted, &QSocketNotifier::activated, &loop, kill);
    QObject::connect(&process, &QProcess::stateChanged, &loop, [&loop](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning)
            loop.quit();
    });
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer); // others may be early, and then it would not look like a time-out
    QObject::connect(&timer, &QTimer::timeout, &loop, kill);
    int const limit = static_cast<int>(static_cast<quint32>(timeout));
    if (limit >= 0)
        timer.start(limit);

    process.start(exe, args, QIODevice::ReadWrite);
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    success = !isKilled && process.error() != QProcess::FailedToStart &&
              process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}
