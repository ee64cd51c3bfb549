#pragma once

#include <atomic>
#include <cstdint>

/**
 * Keeps handle states from calling a manager that is gone. Held by a manager and by the states it issued;
 * frees itself with its last holder. It holds no lock of its own while a manager is called.
 */
class VrelManagerLife
{
public:
    VrelManagerLife() = default;
    VrelManagerLife(VrelManagerLife const&) = delete;
    VrelManagerLife& operator=(VrelManagerLife const&) = delete;

    /** Another holder, beside the one that this object was made by. */
    VrelManagerLife* hold()
    {
        m_state.fetch_add(kHolder, std::memory_order_relaxed);
        return this;
    }

    /**
     * One holder's call into the manager, and the end of its hold; made on the stack, on the thread that
     * calls.
     */
    class LastCall
    {
    public:
        explicit LastCall(VrelManagerLife& life)
            : m_life(life)
            , m_isAllowed((life.m_state.fetch_add(kCall, std::memory_order_acq_rel) & kEnded) == 0)
            , m_outer(t_innermost)
        {
            t_innermost = this;
        }

        ~LastCall()
        {
            t_innermost = m_outer;
            m_life.subtract(kCall + kHolder);
        }

        LastCall(LastCall const&) = delete;
        LastCall& operator=(LastCall const&) = delete;

        /** Whether the manager may be called: its destructor then waits for this object. */
        bool isAllowed() const { return m_isAllowed; }

    private:
        friend class VrelManagerLife;

        VrelManagerLife& m_life;
        bool const m_isAllowed;
        LastCall const* const m_outer; ///< the call on this thread that led to this one

        static inline thread_local LastCall const* t_innermost = nullptr;
    };

    /**
     * The end of the manager's hold: allows no more calls, and waits for those under way on other threads.
     * Those on this thread led here, so they cannot be waited for.
     */
    void end();

private:
    static constexpr std::uint64_t kHolder = 1;
    static constexpr std::uint64_t kCall = std::uint64_t{1} << 32U;
    static constexpr std::uint64_t kEnded = std::uint64_t{1} << 63U;

    ~VrelManagerLife() = default;
    void subtract(std::uint64_t what)
    {
        if ((m_state.fetch_sub(what, std::memory_order_acq_rel) & ~kEnded) == what)
            delete this;
    }

    std::atomic<std::uint64_t> m_state{kHolder}; ///< kHolder and kCall for each of them, kEnded
};
