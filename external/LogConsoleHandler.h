#pragma once

#include "external/LogHandler.h"

#include <memory>

class QProcess;

/**
 * Logs what a process prints, line by line, while the process runs.
 *
 * Made before the process starts and destroyed after it ended, on the thread that waits for it; the process
 * must outlive the handler. Standard output is logged at level 3, standard error at level 2. A process that
 * writes the host's JSON log lines (it is asked to by `VREL_LOG_FORMAT=json` in its environment) keeps its
 * own levels, labels and texts of several lines. An end other than exit code 0 is logged at level 2.
 *
 * Memory is bounded by the longest line, and a line by 1 MiB: longer ones are handed on in pieces.
 */
class HOST_EXPORT LogConsoleHandler : public LogHandler
{
public:
    explicit LogConsoleHandler(QProcess& process);
    ~LogConsoleHandler() override;

private:
    class Private;
    std::unique_ptr<Private> d;
};
