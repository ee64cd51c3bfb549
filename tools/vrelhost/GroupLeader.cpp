#include "tools/vrelhost/GroupLeader.h"

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

/** Between fork and exec: calls nothing but what a signal handler may. */
void GroupLeader::setupChildProcess()
{
    static_cast<void>(::setpgid(0, 0));
    static_cast<void>(::prctl(PR_SET_PDEATHSIG, SIGKILL));
}
