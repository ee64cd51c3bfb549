#pragma once

#include <optional>

class LogHandler;
class QProcess;

/** Waits for started processes within bounds that they cannot evade. */
namespace VrelProcessWait {

/**
 * Waits for the end of a started process, without an event loop; one that is still there when its time is
 * over is killed and reaped. Its exit status alone decides the outcome: output that was handled late changes
 * nothing.
 *
 * The status is seen before Qt takes it. Where something else in this process has taken it (SIGCHLD is
 * ignored, or somebody waits for all children) there is none to be had, which is logged at level 1.
 *
 * @param process of no derived class: Qt itself reaps those in a handler of SIGCHLD
 * @param timeout milliseconds, of which the low 32 bits count, as a signed number: -1 waits without limit,
 * other negative numbers do not wait. It holds however much the process prints.
 * @return the exit code of a process that exited by itself; nothing for one that was not there, was killed or
 * crashed, or whose status is lost
 */
std::optional<int> waitForExit(QProcess& process, unsigned long long timeout, LogHandler const& log);

} // namespace VrelProcessWait
