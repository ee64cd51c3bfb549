#pragma once

#include <functional>

class QProcess;

/** Waits for started processes within bounds that they cannot evade. */
namespace VrelProcessWait {

/**
 * Waits for the end of a started process; one that is not to go on is killed and reaped.
 *
 * @param timeout milliseconds; -1 waits without limit, other negative numbers do not wait. It holds however
 *        much the process prints.
 * @param takeOutput called whenever output has arrived, on this thread; false ends the process. May be empty.
 * @return whether the process ended without being killed here
 */
bool waitForEnd(QProcess& process, int timeout, std::function<bool()> const& takeOutput = {});

} // namespace VrelProcessWait
