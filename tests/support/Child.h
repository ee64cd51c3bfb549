#pragma once

#include <functional>
#include <sys/wait.h>
#include <unistd.h>

/** Runs the work in a child process, which ends without cleaning up. @return its process ID */
inline int runInChild(std::function<int()> const& work)
{
    auto const child = ::fork();
    if (child == 0)
        ::_exit(work());
    return child;
}

/** @return the exit code of the child, -1 when it was killed */
inline int waitForChild(int child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
