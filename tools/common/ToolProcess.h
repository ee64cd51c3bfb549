#pragma once

/** How the command-line tools end. */
enum ExitCode : int
{
    ExitSuccess = 0,
    ExitFailure = 1, ///< the command was run and failed
    ExitRejected = 2 ///< bad arguments or a bad request; nothing was run
};

/** What a tool relies on in its process, whoever started it and whatever library it loads. */
namespace ToolProcess {

/**
 * To be called before all else in main:
 * - Every closed standard stream becomes /dev/null: a file opened later would take its place, and log lines
 * would land in it.
 * - No signal is blocked, and none ignored as the starter may have left it, but for SIGHUP (nohup). Writes to
 * a pipe that nobody reads, or beyond the limit of a file's size, fail instead of ending the process: what is
 * being done to a device goes on.
 * - Qt's own messages go to the log, at level 2.
 * - A process that ends otherwise than by `end`, because a library calls exit, quick_exit, _exit or _Exit,
 * says so at level 1 and ends with ExitFailure.
 *
 * @param name of the log lines
 * @param lastAct called after that line; may be null
 */
void begin(char const* name, void (*lastAct)() = nullptr);

/** Tells that main is done; returns the exit code that it is to return at once. */
int end(int exitCode);

} // namespace ToolProcess
