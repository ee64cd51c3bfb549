#include "plugin/VrelProcessWait.h"

#include "external/LogHandler.h"

#include <QDeadlineTimer>
#include <QProcess>

#include <algorithm>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** A process whose end is seen before Qt reaps it: of a status that was taken by others, Qt knows nothing. */
class Watched
{
public:
    enum State
    {
        Running,
        Ended,
        Gone ///< somebody has reaped it
    };

    explicit Watched(QProcess& process)
        : m_process(process)
        , m_pid(static_cast<pid_t>(process.processId()))
        , m_wakeUp(static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0))) // without one, waits are short
    {
        QObject::connect(&process, &QProcess::channelReadyRead, &m_lifetime, [this] { m_hasRead = true; });
    }
    ~Watched()
    {
        if (m_wakeUp >= 0)
            static_cast<void>(::close(m_wakeUp));
    }
    Watched(Watched const&) = delete;
    Watched& operator=(Watched const&) = delete;

    State waitForEnd(QDeadlineTimer const& deadline)
    {
        for (;;) {
            State const state = look();
            if (state != Running || deadline.hasExpired())
                return state;
            m_hasRead = false;
            exchange();
            if (!m_hasRead)
                sleep(deadline);
        }
    }

    bool hasExited() const { return m_end.si_code == CLD_EXITED; }
    int exitCode() const { return m_end.si_status; }

private:
    /** Leaves the status where it is. */
    State look()
    {
        m_end.si_pid = 0;
        if (::waitid(P_PID, static_cast<id_t>(m_pid), &m_end, WEXITED | WNOHANG | WNOWAIT) != 0)
            return Gone;
        return m_end.si_pid == 0 ? Running : Ended;
    }

    /** Reads and writes what there is. What Qt has for this, its waits, would reap the process, too. */
    void exchange()
    {
        for (char const* const slot : {"_q_canReadStandardOutput", "_q_canReadStandardError", "_q_canWrite"})
            QMetaObject::invokeMethod(&m_process, slot, Qt::DirectConnection);
    }

    void sleep(QDeadlineTimer const& deadline) const
    {
        constexpr qint64 kInterval = 10; // milliseconds: output does not end it
        qint64 const remaining = deadline.remainingTime();
        pollfd end = {m_wakeUp, POLLIN, 0};
        ::poll(&end, 1, static_cast<int>(remaining < 0 ? kInterval : std::min(remaining, kInterval)));
    }

    QObject m_lifetime;
    QProcess& m_process;
    pid_t const m_pid;
    int const m_wakeUp;
    siginfo_t m_end = {};
    bool m_hasRead = false;
};

} // namespace

std::optional<int> VrelProcessWait::waitForExit(QProcess& process, unsigned long long timeout,
                                                LogHandler const& log)
{
    constexpr int kReapTime = 5000;
    QDeadlineTimer const deadline(static_cast<int>(static_cast<quint32>(timeout))); // -1 is forever
    if (process.state() == QProcess::Starting)
        process.waitForStarted(static_cast<int>(deadline.remainingTime()));
    if (process.state() == QProcess::NotRunning)
        return std::nullopt;
    Watched watched(process);
    Watched::State const state = watched.waitForEnd(deadline);
    if (state == Watched::Running) {
        process.kill();
        watched.waitForEnd(QDeadlineTimer(kReapTime));
    }
    process.waitForFinished(kReapTime); // reaps, and announces the end
    if (state == Watched::Gone)
        log.logMessage(kErrorLevel,
                       "The exit status is lost: this process ignores SIGCHLD or waits for all its children");
    return state == Watched::Ended && watched.hasExited() ? std::optional(watched.exitCode()) : std::nullopt;
}
