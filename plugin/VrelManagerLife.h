#pragma once

#include <QMutex>

/** What a manager shares with the handle states that it issued, so that they call it only while it lives. */
struct VrelManagerLife
{
    QMutex mutex; ///< held over a call: the manager's end waits for it
    bool isOver = false;
};
