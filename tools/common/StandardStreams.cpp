#include "tools/common/StandardStreams.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

void openStandardStreams()
{
    int file = 0;
    do {
        file = ::open("/dev/null", O_RDWR);
    } while (file >= 0 && file <= STDERR_FILENO);
    if (file > STDERR_FILENO)
        static_cast<void>(::close(file));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}
