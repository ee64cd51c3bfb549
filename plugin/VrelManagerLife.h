#pragma once

#include <QMutex>

/**
 * Tells handle states whether their manager is still there. Shared by a manager and the states it issued, so
 * that it outlives them all.
 *
 * Lock order: this, then the manager's mutex.
 */
struct VrelManagerLife
{
    QMutex mutex;      ///< guards `alive`; held over every call from a state into the manager
    bool alive = true; ///< cleared once, by the manager's destructor
};
