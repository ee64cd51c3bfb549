#include "tools/vrelhost/RunAtATime.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

int runAtATime(int count, int jobs, std::function<bool()> const& isOver, std::function<void(int)> const& work)
{
    std::atomic<int> next{0};
    auto const takeAndWork = [&] {
        for (int index = next++; index < count && !isOver(); index = next++)
            work(index);
    };
    std::vector<std::thread> others;
    try {
        for (int i = 1; i < std::min(jobs, count); ++i)
            others.emplace_back(takeAndWork);
    } catch (std::system_error const&) {
        // Those that there are, and this one, do all the work.
    }
    takeAndWork();
    for (std::thread& other : others)
        other.join();
    return static_cast<int>(others.size()) + 1;
}
