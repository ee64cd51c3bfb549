#include "tools/vrelhost/runs/Interruption.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/vrelhost/log/TerminalLog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <pthread.h>
#include <semaphore.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr std::size_t kMostGroups = 256; ///< further ones end by themselves when their leader does

std::array<std::atomic<pid_t>, kMostGroups> s_groups{};
std::atomic<int> s_stage{Interruption::None};
std::atomic<int> s_next{Interruption::Boards};
std::atomic<std::int64_t> s_lastTime{0}; ///< milliseconds, of the last signal that counted
sem_t s_signals;                         ///< signals that count and are not reported yet; no descriptor,
                                         ///< which a library may close
std::atomic<bool> s_hasReporter{false};
std::atomic<int> s_reported{Interruption::None};
std::atomic<bool> s_isKilling{false};
std::atomic<int> s_devices{0}; ///< at work
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free,
              "a signal handler uses them");

timespec now()
{
    timespec time = {};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

std::int64_t milliseconds()
{
    constexpr std::int64_t kPerSecond = 1000;
    constexpr std::int64_t kNanoseconds = 1000000;
    timespec const time = now();
    return time.tv_sec * kPerSecond + time.tv_nsec / kNanoseconds;
}

void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (int const signal : kSignals) {
        struct sigaction present = {};
        ::sigaction(signal, nullptr, &present);
        if (present.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
}

void killGroup(pid_t leader)
{
    ::kill(-leader, SIGKILL);
    ::kill(leader, SIGKILL); // it may not have come to lead a group yet
}

void killGroups()
{
    for (std::atomic<pid_t> const& group : s_groups) {
        if (pid_t const leader = group; leader != 0)
            killGroup(leader);
    }
}

/** The thread that is interrupted may hold what the reporter needs. */
void waitForReport()
{
    constexpr std::int64_t kLongest = 300; // milliseconds
    constexpr timespec kPause = {0, 2000000};
    std::int64_t const end = milliseconds() + kLongest;
    while (s_hasReporter && s_reported < Interruption::AtOnce && milliseconds() < end)
        ::nanosleep(&kPause, nullptr);
}

extern "C" void bringEndNearer(int signal)
{
    constexpr std::int64_t kSameRequest = 200; // some senders signal the process and then its group
    int const error = errno;
    std::int64_t const time = milliseconds();
    std::int64_t last = s_lastTime;
    if (time - last >= kSameRequest && s_lastTime.compare_exchange_strong(last, time)) {
        int const stage = s_next.fetch_add(1);
        s_stage = stage;
        if (s_isKilling)
            killGroups();
        if (s_hasReporter)
            ::sem_post(&s_signals);
        if (stage >= Interruption::AtOnce) {
            waitForReport();
            killGroups();
            TerminalLog::eraseAtOnce();
            setHandler(SIG_DFL);
            static_cast<void>(::raise(signal));
        }
    }
    errno = error;
}

/** What a stage means, for the log and, in short, for a terminal. */
struct Report
{
    char const* text;
    char const* label;
};

constexpr Report kReports[] = {
    {},
    {"Interrupted: no further board is begun; finishing all steps of %1. The next signal finishes only the "
     "steps under way",
     "finishing the boards under way"},
    {"Interrupted: no further step is begun; finishing the steps under way of %1. The next signal ends the "
     "process at once",
     "finishing the steps under way"},
    {"Interrupted: the process ends at once, with work under way on %1", "ending at once"},
};

} // namespace

Interruption::Interruption(Console const& console, Stage first, bool isKilling)
    : m_console(console)
{
    s_stage = None;
    s_next = first;
    s_reported = None;
    s_isKilling = isKilling;
    if (!isKilling) {
        ::sem_init(&s_signals, 0, 0);
        try {
            m_reporter = std::thread([this, first] { report(first); });
            s_hasReporter = true;
        } catch (std::system_error const&) {
            // Without another thread the stages are reached in silence.
        }
    }
    setHandler(bringEndNearer);
}

Interruption::~Interruption()
{
    setHandler(SIG_DFL);
    s_hasReporter = false;
    if (!m_reporter.joinable())
        return;
    m_isOver = true;
    ::sem_post(&s_signals);
    m_reporter.join();
}

void Interruption::report(int stage) const
{
    sigset_t signals;
    sigfillset(&signals);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr); // a handler must not wait for its own thread
    for (;; ++stage) {
        while (::sem_wait(&s_signals) != 0) {
        }
        if (stage > s_stage && m_isOver)
            return;
        Report const& report = kReports[std::clamp<int>(stage, Boards, AtOnce)];
        int const devices = s_devices;
        QString const boards =
            QStringLiteral("%1 board%2").arg(devices).arg(QLatin1String(devices == 1 ? "" : "s"));
        m_console.showEnd(QLatin1String(report.label));
        m_console.log().logMessage(kWarningLevel, QString::fromLatin1(report.text).arg(boards));
        s_reported = stage;
    }
}

bool Interruption::isRequested(Stage stage)
{
    return s_stage >= stage;
}

bool Interruption::retry(std::function<bool()> const& isDone, std::chrono::milliseconds time)
{
    constexpr std::chrono::milliseconds kPause(50);
    auto const deadline = std::chrono::steady_clock::now() + time;
    while (!isDone()) {
        auto const now = std::chrono::steady_clock::now();
        if (isRequested(Steps) || now >= deadline)
            return false;
        std::this_thread::sleep_until(std::min(now + kPause, deadline));
    }
    return true;
}

Interruption::Work::Work()
{
    ++s_devices;
}

Interruption::Work::~Work()
{
    --s_devices;
}

void Interruption::addGroup(pid_t leader)
{
    for (std::atomic<pid_t>& group : s_groups) {
        pid_t none = 0;
        if (group.compare_exchange_strong(none, leader))
            break;
    }
    if (s_isKilling ? isRequested() : isRequested(AtOnce))
        killGroup(leader);
}

void Interruption::removeGroup(pid_t leader)
{
    for (std::atomic<pid_t>& group : s_groups) {
        pid_t expected = leader;
        if (group.compare_exchange_strong(expected, 0))
            break;
    }
}
