#include "commands/support/VrelFileBytes.h"

#include <fcntl.h>
#include <unistd.h>

namespace VrelUtilsCommand {

std::size_t readFileBytes(QString const& path, long offset, unsigned char* bytes, std::size_t size)
{
    // Named in UTF-8 as towards the vendor API, so that both mean the same file in every locale. Not
    // blocking, so that a pipe without a writer counts as empty instead of holding everything up.
    int const file = ::open(path.toUtf8().constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return 0;
    std::size_t count = 0;
    while (count < size) {
        ssize_t const part = ::pread(file, bytes + count, size - count, offset + static_cast<off_t>(count));
        if (part <= 0)
            break;
        count += static_cast<std::size_t>(part);
    }
    static_cast<void>(::close(file));
    return count;
}

} // namespace VrelUtilsCommand
