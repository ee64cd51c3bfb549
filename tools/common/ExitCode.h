#pragma once

/** How the command-line tools end. */
enum ExitCode : int
{
    ExitSuccess = 0,
    ExitFailure = 1, ///< the command was run and failed
    ExitRejected = 2 ///< bad arguments or a bad request; nothing was run
};
