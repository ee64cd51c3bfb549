#pragma once

#include "tools/vrelhost/ledger/LedgerError.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QVariant>

#include <functional>
#include <type_traits>

/**
 * A connection to a ledger's database, of the thread that opened it alone. Whatever goes wrong is thrown as
 * a LedgerError. Other code must not open the database's files while this process has a connection: with its
 * descriptor the system would drop the locks of the connection.
 */
class LedgerDatabase
{
public:
    enum class Access
    {
        Read,
        ReadQuiet, ///< takes no lock, makes no file, and trusts that nobody has written what is not in the
                   ///< file
        Write,     ///< makes it where the file is missing or empty
    };

    /** What is neither a ledger nor becomes one is refused, and left as it is. */
    LedgerDatabase(QString const& file, Access access);
    ~LedgerDatabase();
    LedgerDatabase(LedgerDatabase const&) = delete;
    LedgerDatabase& operator=(LedgerDatabase const&) = delete;

    using WholeReader = std::function<void(Access access, std::function<void()> const& requireWhole)>;

    /**
     * Calls `read` with how the file is to be opened. Where nobody has it open, it is read without locks and
     * without the files that they need: these would stay, could belong to the wrong user, and cannot be made
     * everywhere. Should a writer come meanwhile, what was read may not fit together: `requireWhole`, to be
     * called when all is read, throws then, and `read` is called again.
     */
    static void readWhole(QString const& file, WholeReader const& read);

    /** Lets statements name the tables of another ledger. */
    void attach(QString const& file, Access access, QString const& name) const;

    /** @return the number of rows that it changed */
    int run(QString const& statement, QVariantList const& values = {}) const;

    /** Shows each row that a statement yields, in order. */
    void read(QString const& statement, QVariantList const& values,
              std::function<void(QSqlQuery const& row)> const& show) const;

    /** @return the first value of the first row; invalid without a row */
    QVariant value(QString const& statement, QVariantList const& values = {}) const;

    /** As one reads it, with all that `work` writes or nothing of it. */
    template <typename Work>
    auto transaction(Work const& work) const;

    QString const& file() const { return m_file; }

private:
    void open() const;
    void judge() const;
    void makeReady() const;
    void migrate() const;
    QSqlQuery query(QString const& statement, QVariantList const& values) const;
    void check(QSqlError const& error) const;
    void rollBack() const;

    QString const m_file;
    Access const m_access;
    QString const m_connection;
};

template <typename Work>
auto LedgerDatabase::transaction(Work const& work) const
{
    run(m_access == Access::Write ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("BEGIN"));
    try {
        if constexpr (std::is_void_v<decltype(work())>) {
            work();
            run(QStringLiteral("COMMIT"));
        } else {
            auto result = work();
            run(QStringLiteral("COMMIT"));
            return result;
        }
    } catch (...) {
        rollBack();
        throw;
    }
}
