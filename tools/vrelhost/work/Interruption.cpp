#include "tools/vrelhost/work/Interruption.h"

#include "tools/vrelhost/log/TerminalLog.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <thread>

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<pid_t> s_group{0};
std::atomic<std::int64_t> s_requestTime{0}; ///< milliseconds; 0 without a request
static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free,
              "a signal handler uses them");

std::int64_t milliseconds()
{
    constexpr std::int64_t kPerSecond = 1000;
    constexpr std::int64_t kNanoseconds = 1000000;
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kPerSecond + now.tv_nsec / kNanoseconds;
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

void killGroup()
{
    pid_t const leader = s_group;
    if (leader == 0)
        return;
    ::kill(-leader, SIGKILL);
    ::kill(leader, SIGKILL); // it may not have come to lead a group yet
}

extern "C" void requestEnd(int signal)
{
    constexpr std::int64_t kSameRequest = 500; // some senders signal the process and then its group
    int const error = errno;
    std::int64_t const now = milliseconds();
    std::int64_t first = 0;
    if (s_requestTime.compare_exchange_strong(first, now)) {
        killGroup();
    } else if (now - first >= kSameRequest) {
        TerminalLog::eraseAtOnce();
        setHandler(SIG_DFL);
        static_cast<void>(::raise(signal));
    }
    errno = error;
}

} // namespace

Interruption::Interruption()
{
    s_requestTime = 0;
    setHandler(requestEnd);
}

Interruption::~Interruption()
{
    setHandler(SIG_DFL);
}

bool Interruption::isRequested()
{
    return s_requestTime != 0;
}

bool Interruption::retry(std::function<bool()> const& isDone, std::chrono::milliseconds time)
{
    constexpr std::chrono::milliseconds kPause(100);
    auto const deadline = std::chrono::steady_clock::now() + time;
    while (!isDone()) {
        auto const now = std::chrono::steady_clock::now();
        if (isRequested() || now >= deadline)
            return false;
        std::this_thread::sleep_until(std::min(now + kPause, deadline));
    }
    return true;
}

void Interruption::setGroup(pid_t leader)
{
    s_group = leader;
    if (isRequested())
        killGroup();
}
