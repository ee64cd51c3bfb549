#include "host/tool/Interruption.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM};

std::atomic<int> s_event{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler reads it");

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

extern "C" void requestEnd(int /*signal*/)
{
    int const error = errno;
    setHandler(SIG_DFL);
    std::uint64_t const one = 1;
    static_cast<void>(::write(s_event, &one, sizeof one));
    errno = error;
}

} // namespace

Interruption::Interruption()
{
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
