#pragma once

class QProcess;

/** Waits for started processes within bounds that they cannot evade. */
namespace VrelProcessWait {

/**
 * Waits for the end of a started process, without an event loop; one that is still there when its time is
 * over is killed and reaped. Its exit status alone decides the outcome: output that was handled late changes
 * nothing, nor does an end before the wait.
 *
 * @param timeout milliseconds, of which the low 32 bits count, as a signed number: -1 waits without limit,
 * other negative numbers do not wait. It holds however much the process prints.
 * @return whether the process ran and exited by itself; its exit code tells the rest
 */
bool waitForExit(QProcess& process, unsigned long long timeout);

} // namespace VrelProcessWait
