#include "tools/vrelhost/InterruptibleRunner.h"

#include "tools/vrelhost/Interruption.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QProcess>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

#include <csignal>

namespace {

constexpr int kReapTime = 5000;

/** Waits until killed processes have given back what they hold, which the system may delay. */
void waitForGroup(pid_t group)
{
    constexpr unsigned long kInterval = 5;
    QDeadlineTimer const deadline(kReapTime);
    while (::kill(-group, 0) == 0 && !deadline.hasExpired())
        QThread::msleep(kInterval);
}

} // namespace

InterruptibleRunner::InterruptibleRunner(Interruption const& interruption)
    : m_interruption(interruption)
{
}

void InterruptibleRunner::run(QProcess& process, QString const& exe, QStringList const& args,
                              unsigned long long timeout)
{
    QEventLoop loop;
    pid_t killed = 0;
    QTimer reapTimer;
    QObject::connect(&reapTimer, &QTimer::timeout, &loop, &QEventLoop::quit);
    QSocketNotifier interrupted(m_interruption.descriptor(), QSocketNotifier::Read);
    auto const kill = [&] {
        interrupted.setEnabled(false); // it stays readable
        if (process.state() == QProcess::NotRunning)
            return;
        killed = static_cast<pid_t>(process.processId());
        ::kill(-killed, SIGKILL);
        process.kill(); // it may not have come to lead a group yet
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

    process.setStandardInputFile(QProcess::nullDevice()); // a downloader that reads sees the end
    process.start(exe, args, QIODevice::ReadOnly);
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    if (killed != 0)
        waitForGroup(killed);
    success = killed == 0 && process.error() != QProcess::FailedToStart &&
              process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}
