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
        ssize_t const part = ::pread(file, bytes + count, size - count, static_cast<off_t>(offset + count));
        if (part <= 0)
            break;
        count += static_cast<std::size_t>(part);
    }
    return count;
}

/** Whether a pipe will never hold more than it does now. */
bool isWholePipe(int file)
{
    pollfd state = {file, POLLIN, 0};
    return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR)) != 0;
}

/** The first bytes that a pipe holds now, which it keeps. */
std::vector<unsigned char> peek(int file, std::size_t size)
{
    std::vector<unsigned char> bytes(size);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return {};
    Descriptor const out(ends[0]);
    Descriptor const in(ends[1]);
    ssize_t const copied = ::tee(file, in.get(), size, SPLICE_F_NONBLOCK);
    ssize_t const count = copied <= 0 ? copied : ::read(out.get(), bytes.data(), size);
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
}

std::size_t readPipe(int file, std::size_t offset, unsigned char* bytes, std::size_t size)
{
    constexpr int kWait = 5000;             // milliseconds
    constexpr unsigned long kInterval = 10; // a pipe tells when it holds something, not when it holds enough

    QDeadlineTimer const deadline(kWait);
    std::vector<unsigned char> held;
    for (;;) {
        bool const isLast =
            isWholePipe(file) || deadline.hasExpired(); // asked first: what comes after it is seen
        held = peek(file, offset + size);
        if (held.size() == offset + size || isLast)
            break;
        QThread::msleep(kInterval);
    }
    std::size_t const count = held.size() - std::min(held.size(), offset);
    std::copy_n(held.end() - static_cast<std::ptrdiff_t>(count), count, bytes);
    return count;
}

} // namespace

std::size_t readFileBytes(QString const& path, std::size_t offset, unsigned char* bytes, std::size_t size)
{
    // Named in UTF-8 as towards the vendor API, so that both mean the same file in every locale. Not
    // blocking, so that a pipe without a writer counts as empty instead of holding everything up.
    Descriptor const file(::open(path.toUtf8().constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        return 0;
    return S_ISFIFO(status.st_mode) ? readPipe(file.get(), offset, bytes, size)
                                    : readAt(file.get(), offset, bytes, size);
}

} // namespace VrelUtilsCommand
