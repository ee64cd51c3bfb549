#pragma once

/** The host's logger. */
struct Logger
{
    /** 0 (always shown) to 5 (raw output); 1 errors, 2 warnings, 3 progress and results, 4 trace. */
    using LogLevel = int;
};
