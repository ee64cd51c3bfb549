#pragma once

#include <functional>

/**
 * Calls `work` with 0 to `count` - 1, in that order, up to `jobs` calls at a time, on this thread and others;
 * returns when all calls have. `isOver` is asked before each call: once it says so, no further call begins.
 * Where the system has no more threads, fewer calls are made at a time.
 * @return how many there were at a time
 */
int runAtATime(int count, int jobs, std::function<bool()> const& isOver,
               std::function<void(int)> const& work);
