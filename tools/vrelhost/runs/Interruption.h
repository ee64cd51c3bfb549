#pragma once

#include "tools/vrelhost/log/Console.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <sys/types.h>
#include <thread>

/**
 * While it lives, each SIGINT, SIGTERM or SIGHUP brings the end a stage nearer, and a line at level 2 says
 * what that means. A signal that was ignored stays so; one that comes at once after another may belong to the
 * same request and does not count. There is one object at a time.
 */
class Interruption
{
public:
    enum Stage : int
    {
        None,
        Boards, ///< no further device is begun
        Steps,  ///< nor any further step, and waits are broken off
        AtOnce, ///< the process ends, with the groups of what it runs
    };

    /** What the first signal brings, whether it kills what is running, and where the lines go. */
    Interruption(Console const& console, Stage first, bool isKilling = false);
    ~Interruption();

    Interruption(Interruption const&) = delete;
    Interruption& operator=(Interruption const&) = delete;

    /** Whether this stage was reached; from any thread. */
    static bool isRequested(Stage stage = Boards);

    /**
     * Calls `isDone` now and then until it yields true.
     * @return false when the time was over, or waits are to be broken off, before that
     */
    static bool retry(std::function<bool()> const& isDone, std::chrono::milliseconds time);

    /** A device that is being worked on. */
    class Work
    {
    public:
        Work();
        ~Work();

        Work(Work const&) = delete;
        Work& operator=(Work const&) = delete;
    };

    /** A process group that ends with this process, and at once when it is late. From any thread. */
    static void addGroup(pid_t leader);
    static void removeGroup(pid_t leader);

private:
    /** Reports the stages from this one on, each when its signal comes. */
    void report(int stage) const;

    Console const& m_console;
    std::thread m_reporter;
    std::atomic<bool> m_isOver{false};
};
