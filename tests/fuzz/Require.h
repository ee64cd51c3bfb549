#pragma once

#include <cstdio>
#include <cstdlib>

/** Makes the input a finding when something that must hold for every input does not. */
inline void require(bool holds, char const* rule)
{
    if (holds)
        return;
    std::fprintf(stderr, "This does not hold: %s\n", rule);
    std::abort();
}
