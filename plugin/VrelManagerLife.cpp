#include "plugin/VrelManagerLife.h"

#include <QThread>

void VrelManagerLife::end()
{
    constexpr unsigned long kInterval = 100; // microseconds: threads seldom meet here

    m_state.fetch_or(kEnded, std::memory_order_acq_rel);
    std::uint64_t calls = 1;
    for (LastCall const* call = LastCall::t_innermost; call != nullptr; call = call->m_outer) {
        if (&call->m_life == this)
            ++calls;
    }
    while ((m_state.load(std::memory_order_acquire) & ~kEnded) >= calls * kCall)
        QThread::usleep(kInterval);
    subtract(kHolder);
}
