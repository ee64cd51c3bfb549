#include "tools/vrelhost/Interruption.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM};

std::atomic<int> s_event{-1};
std::atomic<std::int64_t> s_requestTime{0}; ///< milliseconds; 0 without a request
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free,
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

extern "C" void requestEnd(int signal)
{
    constexpr std::int64_t kSameRequest = 500; // some senders signal the process and then its group
    int const error = errno;
    std::int64_t const now = milliseconds();
    std::int64_t first = 0;
    if (s_requestTime.compare_exchange_strong(first, now)) {
        std::uint64_t const one = 1;
        static_cast<void>(::write(s_event, &one, sizeof one));
    } else if (now - first >= kSameRequest) {
        setHandler(SIG_DFL);
        static_cast<void>(::raise(signal));
    }
    errno = error;
}

} // namespace

Interruption::Interruption()
{
    s_requestTime = 0;
    s_event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (s_event >= 0)
        setHandler(requestEnd);
}

Interruption::~Interruption()
{
    setHandler(SIG_DFL);
    ::close(s_event.exchange(-1));
}

bool Interruption::isRequested() const
{
    pollfd event = {s_event, POLLIN, 0};
    return ::poll(&event, 1, 0) > 0;
}

int Interruption::descriptor() const
{
    return s_event;
}
