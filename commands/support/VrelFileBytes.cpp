#include "commands/support/VrelFileBytes.h"

#include <QDeadlineTimer>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VrelUtilsCommand {

namespace {

/** A file that is read; closed at the end of its scope. */
class File
{
public:
    /**
     * Named in UTF-8 as towards the vendor API, so that both mean the same file in every locale. Not
     * blocking, so that a pipe without a writer does not hold everything up.
     */
    explicit File(QByteArray const& path)
        : m_number(static_cast<int>(
              TEMP_FAILURE_RETRY(::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))))
    {
    }
    ~File()
    {
        if (m_number >= 0)
            static_cast<void>(::close(m_number));
    }
    File(File const&) = delete;
    File& operator=(File const&) = delete;

    bool isPipe() const
    {
        struct stat status = {};
        return ::fstat(m_number, &status) == 0 && S_ISFIFO(status.st_mode);
    }

    ssize_t read(unsigned char* bytes, std::size_t size) const
    {
        return TEMP_FAILURE_RETRY(::read(m_number, bytes, size));
    }

    ssize_t readAt(std::size_t offset, unsigned char* bytes, std::size_t size) const
    {
        return TEMP_FAILURE_RETRY(::pread(m_number, bytes, size, static_cast<off_t>(offset)));
    }

    /** Waits for bytes for a while. @return false when the last writer has closed a pipe that is empty */
    bool wait() const
    {
        constexpr int kInterval = 10; // milliseconds: a writer that opens a pipe wakes nobody
        pollfd state = {m_number, POLLIN, 0};
        return ::poll(&state, 1, kInterval) <= 0 || (state.revents & POLLIN) != 0;
    }

private:
    int const m_number;
};

bool isRegular(QByteArray const& path)
{
    struct stat status = {};
    return ::stat(path.constData(), &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

std::size_t readFileBytes(QString const& path, std::size_t offset, unsigned char* bytes, std::size_t size)
{
    QByteArray const name = path.toUtf8();
    if (!isRegular(name))
        return 0;
    File const file(name);
    std::size_t count = 0;
    while (count < size) {
        ssize_t const part = file.readAt(offset + count, bytes + count, size - count);
        if (part <= 0)
            break;
        count += static_cast<std::size_t>(part);
    }
    return count;
}

bool readFirstBytes(QString const& path, unsigned char* bytes, std::size_t size)
{
    constexpr int kWait = 5000; // milliseconds
    File const file(path.toUtf8());
    bool const isPipe = file.isPipe();
    QDeadlineTimer deadline(kWait);
    std::size_t count = 0;
    while (count < size) {
        ssize_t const part = file.read(bytes + count, size - count);
        if (!isPipe ? part <= 0 : part < 0 && errno != EAGAIN)
            break;
        if (part != 0) // somebody has it open
            deadline = QDeadlineTimer(QDeadlineTimer::Forever);
        if (part > 0)
            count += static_cast<std::size_t>(part);
        else if (deadline.hasExpired())
            return false;
        else if (!file.wait())
            break;
    }
    return true;
}

} // namespace VrelUtilsCommand
