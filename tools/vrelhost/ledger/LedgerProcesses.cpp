#include "tools/vrelhost/ledger/LedgerProcesses.h"

#include "tools/vrelhost/ledger/LedgerDatabase.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

/** Beside the ledger itself, should its name be a link. */
QByteArray nameFor(QString const& ledger)
{
    QString const target = QFileInfo(ledger).canonicalFilePath();
    return QFile::encodeName((target.isEmpty() ? ledger : target) + QStringLiteral("-alive"));
}

/** Those of open file descriptions: others are dropped as soon as the process closes the file anywhere. */
struct flock byteOf(qint64 process)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = process;
    lock.l_len = 1;
    return lock;
}

LedgerError failure(QString const& ledger)
{
    return {LedgerError::Unavailable,
            QStringLiteral("Cannot use '%1-alive', which shows which processes use the ledger: %2")
                .arg(ledger, qt_error_string())};
}

} // namespace

LedgerProcesses::LedgerProcesses(QString ledger)
    : m_ledger(std::move(ledger))
{
}

LedgerProcesses::~LedgerProcesses()
{
    if (m_file >= 0)
        ::close(m_file);
}

bool LedgerProcesses::claim(qint64 process)
{
    constexpr mode_t kAllModes = 0777;
    constexpr mode_t kUsual = 0666; // until it has the ledger's own
    if (m_file < 0) {
        m_file = ::open(nameFor(m_ledger).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kUsual);
        struct stat ledger = {};
        if (m_file >= 0 && ::stat(QFile::encodeName(m_ledger).constData(), &ledger) == 0)
            static_cast<void>(
                ::fchmod(m_file, ledger.st_mode & kAllModes)); // fails for a file of another user's
    }
    struct flock lock = byteOf(process);
    if (m_file >= 0 && ::fcntl(m_file, F_OFD_SETLK, &lock) == 0)
        return true;
    if (m_file >= 0 && (errno == EAGAIN || errno == EACCES))
        return false;
    throw failure(m_ledger);
}

bool LedgerProcesses::isKnown() const
{
    return ::access(nameFor(m_ledger).constData(), F_OK) == 0;
}

QList<qint64> LedgerProcesses::deadUnderWay(LedgerDatabase const& database) const
{
    QList<qint64> processes;
    database.read(QStringLiteral("SELECT DISTINCT process FROM services WHERE result = 'under way' "
                                 "AND process IS NOT NULL"),
                  {}, [&processes](QSqlQuery const& row) { processes << row.value(0).toLongLong(); });
    return dead(processes);
}

QList<qint64> LedgerProcesses::dead(QList<qint64> const& processes) const
{
    int const file = ::open(nameFor(m_ledger).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0 && errno != ENOENT)
        throw failure(m_ledger);
    QList<qint64> dead;
    std::copy_if(processes.begin(), processes.end(), std::back_inserter(dead), [file](qint64 process) {
        struct flock lock = byteOf(process);
        return file < 0 || (::fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_UNLCK);
    });
    if (file >= 0)
        ::close(file);
    return dead;
}
