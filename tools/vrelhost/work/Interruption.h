#pragma once

#include <chrono>
#include <functional>
#include <sys/types.h>

/**
 * While it lives, the first SIGINT, SIGTERM or SIGHUP asks for an end and kills the process group that is
 * set, nothing else; a later one acts by default, unless it comes within half a second and so may belong to
 * the same request. A signal that was ignored stays so. There is one object at a time.
 */
class Interruption
{
public:
    Interruption();
    ~Interruption();

    Interruption(Interruption const&) = delete;
    Interruption& operator=(Interruption const&) = delete;

    /** Whether an end was asked for; from any thread. */
    static bool isRequested();

    /**
     * Calls `isDone` now and then until it yields true.
     * @return false when the time was over, or an end asked for, before that
     */
    static bool retry(std::function<bool()> const& isDone, std::chrono::milliseconds time);

    /** The group that a request kills, at once if there was one already, with its leader; 0 for none. */
    static void setGroup(pid_t leader);
};
