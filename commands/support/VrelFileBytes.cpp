#include "commands/support/VrelFileBytes.h"

#include <QDeadlineTimer>
#include <QThread>

#include <algorithm>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace VrelUtilsCommand {

namespace {

/** Closes a descriptor at the end of its scope; a negative one is none. */
class Descriptor
{
public:
    explicit Descriptor(int number)
        : m_number(number)
    {
    }
    ~Descriptor()
    {
        if (m_number >= 0)
            static_cast<void>(::close(m_number));
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int get() const { return m_number; }

private:
    int const m_number;
};

std::size_t readAt(int file, std::size_t offset, unsigned char* bytes, std::size_t size)
{
    std::size_t count = 0;
    while (count < size) {
        ssize_t const part = TEMP_FAILURE_RETRY(
            ::pread(file, bytes + count, size - count, static_cast<off_t>(offset + count)));
        if (part <= 0)
            break;
        count += static_cast<std::size_t>(part);
    }
    return count;
}

/** Whether a pipe will never hold more than it does now. One that never had a writer does not tell. */
bool isAbandoned(int pipe)
{
    pollfd state = {pipe, POLLIN, 0};
    return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR)) != 0;
}

/** Copies the first bytes that a pipe holds, and keeps; returns how many, or nothing above 0 for none. */
ssize_t peek(int pipe, std::vector<unsigned char>& bytes)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return -1;
    Descriptor const out(ends[0]);
    Descriptor const in(ends[1]);
    ssize_t const copied = ::tee(pipe, in.get(), bytes.size(), SPLICE_F_NONBLOCK);
    return copied <= 0 ? copied : ::read(out.get(), bytes.data(), bytes.size());
}

std::size_t readPipe(int pipe, std::size_t offset, unsigned char* bytes, std::size_t size)
{
    constexpr int kWait = 5000;             // milliseconds
    constexpr unsigned long kInterval = 10; // a pipe tells when it holds something, not when it holds enough

    QDeadlineTimer const deadline(kWait);
    std::vector<unsigned char> held(offset + size);
    for (;;) {
        bool const isLast = isAbandoned(pipe) || deadline.hasExpired(); // before the look: it misses nothing
        ssize_t const count = peek(pipe, held);
        if (count < static_cast<ssize_t>(held.size()) && !isLast) {
            QThread::msleep(kInterval);
            continue;
        }
        held.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        std::size_t const found = held.size() - std::min(held.size(), offset);
        std::copy_n(held.end() - static_cast<std::ptrdiff_t>(found), found, bytes);
        return found;
    }
}

} // namespace

std::size_t readFileBytes(QString const& path, std::size_t offset, unsigned char* bytes, std::size_t size)
{
    // Named in UTF-8 as towards the vendor API, so that both mean the same file in every locale. Not
    // blocking, so that a pipe without a writer does not hold everything up.
    Descriptor const file(static_cast<int>(
        TEMP_FAILURE_RETRY(::open(path.toUtf8().constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))));
    struct stat status = {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        return 0;
    return S_ISFIFO(status.st_mode) ? readPipe(file.get(), offset, bytes, size)
                                    : readAt(file.get(), offset, bytes, size);
}

} // namespace VrelUtilsCommand
