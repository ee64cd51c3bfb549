#pragma once

#include <QProcess>

/**
 * A process that leads a process group of its own, so that it can be ended with all that it starts. It is
 * killed when the thread that started it ends.
 */
class GroupLeader : public QProcess
{
protected:
    void setupChildProcess() override;
};
