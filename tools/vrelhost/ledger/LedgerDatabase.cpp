#include "tools/vrelhost/ledger/LedgerDatabase.h"

#include "tools/vrelhost/ledger/LedgerSchema.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <atomic>
#include <cerrno>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace {

/** Milliseconds that a connection waits for the locks of others; a merge may hold them for some seconds. */
constexpr int kLockTime = 30000;

QString nextConnection()
{
    static std::atomic<int> s_count = 0;
    return QStringLiteral("ledger-%1").arg(++s_count);
}

/** In the form of which no name has a meaning of its own, as ":memory:" has. */
QString address(QString const& file, LedgerDatabase::Access access)
{
    QString const path = QFileInfo(file).absoluteFilePath();
    QString const uri =
        QStringLiteral("file:") + QString::fromLatin1(QUrl::toPercentEncoding(path, QByteArrayLiteral("/")));
    switch (access) {
    case LedgerDatabase::Access::ReadQuiet:
        return uri + QStringLiteral("?immutable=1");
    case LedgerDatabase::Access::Read:
        return uri + QStringLiteral("?mode=ro");
    default:
        return uri;
    }
}

QString connectOptions(LedgerDatabase::Access access)
{
    QString const common = QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(kLockTime);
    return access == LedgerDatabase::Access::Write ? common
                                                   : common + QStringLiteral(";QSQLITE_OPEN_READONLY");
}

/** Of SQLite's errors: a statement that does not fit the tables, pages that do not fit together, no database.
 */
constexpr int kNoSuchTable = 1;
constexpr int kCorrupt = 11;
constexpr int kNotADatabase = 26;

/** Without what is more exact about it. */
int codeOf(QSqlError const& error)
{
    constexpr int kPrimary = 0xFF;
    return error.nativeErrorCode().toInt() & kPrimary;
}

LedgerError unavailable(QString const& file, QString const& cause)
{
    return {LedgerError::Unavailable, QStringLiteral("Cannot use the ledger '%1': %2").arg(file, cause)};
}

LedgerError foreign(QString const& file, QString const& what)
{
    return {LedgerError::Refused,
            QStringLiteral("'%1' is %2, not a ledger; it was left as it is").arg(file, what)};
}

LedgerError newer(QString const& file, int version)
{
    return {LedgerError::Refused,
            QStringLiteral("The ledger '%1' has version %2, and this tool knows versions up to %3: use a "
                           "newer tool; the ledger was left as it is")
                .arg(file)
                .arg(version)
                .arg(LedgerSchema::version())};
}

struct DamagedLedger : LedgerError
{
    DamagedLedger(QString const& file, QString const& cause)
        : LedgerError(Refused, QStringLiteral("The ledger '%1' is damaged: %2").arg(file, cause))
    {
    }
};

/**
 * By a look that changes nothing, whatever the file is. It takes no locks, so a ledger that others write at
 * this moment may look damaged; who opens it with locks finds out.
 */
void recognize(QString const& file)
{
    try {
        LedgerDatabase const look(file, LedgerDatabase::Access::ReadQuiet);
    } catch (DamagedLedger const&) {
        return;
    }
}

/** The state of the files of a ledger that nobody writes. */
using Stamp = std::tuple<bool, dev_t, ino_t, off_t, time_t, decltype(timespec::tv_nsec)>;

/** @return first whether there is no log of writes that are not in the file itself yet */
Stamp stampOf(QString const& file)
{
    struct stat status = {};
    static_cast<void>(::stat(QFile::encodeName(file).constData(), &status));
    QString const target = QFileInfo(file).canonicalFilePath();
    return {!QFileInfo::exists(target + QStringLiteral("-wal")),
            status.st_dev,
            status.st_ino,
            status.st_size,
            status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec};
}

/** @return whether it is a file with content, not one that is to be made */
bool hasContent(QString const& file, bool isToBeMade)
{
    struct stat status = {};
    QByteArray const name = QFile::encodeName(file);
    if (::stat(name.constData(), &status) != 0) {
        if (isToBeMade && errno == ENOENT)
            return false;
        throw unavailable(file, qt_error_string());
    }
    if (!S_ISREG(status.st_mode))
        throw foreign(file, S_ISDIR(status.st_mode) ? QStringLiteral("a folder")
                                                    : QStringLiteral("not a regular file"));
    if (::access(name.constData(), isToBeMade ? R_OK | W_OK : R_OK) != 0)
        throw unavailable(file, qt_error_string());
    if (status.st_size == 0 && !isToBeMade)
        throw unavailable(file, QStringLiteral("it is empty"));
    return status.st_size > 0;
}

} // namespace

LedgerDatabase::LedgerDatabase(QString const& file, Access access)
    : m_file(file)
    , m_access(access)
    , m_connection(nextConnection())
{
    if (hasContent(file, access == Access::Write) && access != Access::ReadQuiet)
        recognize(file);
    QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    try {
        open();
        if (access == Access::Write)
            makeReady();
        judge();
    } catch (...) {
        QSqlDatabase::removeDatabase(m_connection);
        throw;
    }
}

LedgerDatabase::~LedgerDatabase()
{
    QSqlDatabase::removeDatabase(m_connection);
}

void LedgerDatabase::readWhole(QString const& file, WholeReader const& read)
{
    constexpr int kMostChanges = 3;
    for (int attempt = 1;; ++attempt) {
        Stamp const stamp = stampOf(file);
        bool const isQuiet = std::get<0>(stamp) && attempt <= kMostChanges;
        auto const hasChanged = [&] { return isQuiet && stampOf(file) != stamp; };
        try {
            read(isQuiet ? Access::ReadQuiet : Access::Read, [&] {
                if (hasChanged())
                    throw unavailable(file, QStringLiteral("others keep changing it"));
            });
            return;
        } catch (LedgerError const&) {
            if (!hasChanged())
                throw;
        }
    }
}

void LedgerDatabase::attach(QString const& file, Access access, QString const& name) const
{
    run(QStringLiteral("ATTACH ? AS ") + name, {address(file, access)});
}

void LedgerDatabase::open() const
{
    QSqlDatabase database = QSqlDatabase::database(m_connection, false);
    database.setDatabaseName(address(m_file, m_access));
    database.setConnectOptions(connectOptions(m_access));
    if (!database.open())
        check(database.lastError());
}

/** What the file is now; another process may have made it meanwhile. */
void LedgerDatabase::judge() const
{
    if (value(QStringLiteral("PRAGMA application_id")).toInt() != LedgerSchema::kApplicationId)
        throw foreign(m_file, QStringLiteral("another program's database"));
    int const version = value(QStringLiteral("PRAGMA user_version")).toInt();
    if (version < 1 || version > LedgerSchema::version())
        throw newer(m_file, version);
}

void LedgerDatabase::makeReady() const
{
    run(QStringLiteral("PRAGMA foreign_keys = ON"));
    run(QStringLiteral("PRAGMA synchronous = FULL"));
    if (value(QStringLiteral("PRAGMA user_version")).toInt() < LedgerSchema::version())
        transaction([this] { migrate(); });
    // Only now: the file itself is to say what it is as soon as it is not empty.
    QString const mode = value(QStringLiteral("PRAGMA journal_mode = WAL")).toString();
    if (mode != QLatin1String("wal"))
        throw unavailable(m_file, QStringLiteral("its file system cannot hold it"));
}

void LedgerDatabase::migrate() const
{
    for (int version = value(QStringLiteral("PRAGMA user_version")).toInt() + 1;
         version <= LedgerSchema::version(); ++version) {
        for (QString const& statement : LedgerSchema::statementsTo(version))
            run(statement);
    }
    run(QStringLiteral("PRAGMA application_id = %1").arg(LedgerSchema::kApplicationId));
    run(QStringLiteral("PRAGMA user_version = %1").arg(LedgerSchema::version()));
}

QSqlQuery LedgerDatabase::query(QString const& statement, QVariantList const& values) const
{
    QSqlQuery query(QSqlDatabase::database(m_connection, false));
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        check(query.lastError());
    for (QVariant const& value : values)
        query.addBindValue(value);
    if (!query.exec())
        check(query.lastError());
    return query;
}

int LedgerDatabase::run(QString const& statement, QVariantList const& values) const
{
    return query(statement, values).numRowsAffected();
}

void LedgerDatabase::read(QString const& statement, QVariantList const& values,
                          std::function<void(QSqlQuery const& row)> const& show) const
{
    QSqlQuery rows = query(statement, values);
    while (rows.next())
        show(rows);
    if (rows.lastError().isValid())
        check(rows.lastError());
}

QVariant LedgerDatabase::value(QString const& statement, QVariantList const& values) const
{
    QVariant result;
    read(statement, values, [&result](QSqlQuery const& row) {
        if (!result.isValid())
            result = row.value(0);
    });
    return result;
}

void LedgerDatabase::check(QSqlError const& error) const
{
    QString const cause = error.databaseText();
    switch (codeOf(error)) {
    case kNotADatabase:
        throw foreign(m_file, QStringLiteral("another kind of file"));
    case kCorrupt:
    case kNoSuchTable:
        throw DamagedLedger(m_file, cause);
    default:
        throw unavailable(m_file, cause.isEmpty() ? error.driverText() : cause);
    }
}

void LedgerDatabase::rollBack() const
{
    QSqlQuery(QSqlDatabase::database(m_connection, false)).exec(QStringLiteral("ROLLBACK"));
}
