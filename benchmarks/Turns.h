#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

/** Times the library and its yardstick in turns, so that what else the machine does meets both alike. */
class Turns
{
public:
    template <typename Action>
    void library(benchmark::State& state, Action const& action)
    {
        m_library.push_back(secondsFor(action));
        state.SetIterationTime(m_library.back());
    }

    template <typename Action>
    void yardstick(Action const& action)
    {
        m_yardstick.push_back(secondsFor(action));
    }

    /** Counts the medians, in nanoseconds. */
    void report(benchmark::State& state)
    {
        state.counters["library"] = medianNanoseconds(m_library);
        state.counters["yardstick"] = medianNanoseconds(m_yardstick);
    }

private:
    template <typename Action>
    static double secondsFor(Action const& action)
    {
        auto const start = std::chrono::steady_clock::now();
        action();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    static double medianNanoseconds(std::vector<double>& seconds)
    {
        auto const middle = seconds.begin() + static_cast<std::ptrdiff_t>(seconds.size() / 2);
        std::nth_element(seconds.begin(), middle, seconds.end());
        return seconds.empty() ? 0 : *middle * 1e9;
    }

    std::vector<double> m_library;
    std::vector<double> m_yardstick;
};
