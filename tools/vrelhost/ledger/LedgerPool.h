#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <deque>
#include <vector>

class LedgerDatabase;

/** Rows of a file of which a ledger gives each to one board. Its content stays with the caller. */
class LedgerPool
{
public:
    /** @param file for messages @param columns the header @param rows of as many texts */
    LedgerPool(QString file, QStringList const& columns, std::vector<QStringList> const& rows);

    QString const& file() const { return m_file; }
    std::size_t size() const { return m_rows.size(); }

    /** Of the rows, as far as the last take has shown. Any thread. */
    std::size_t left() const { return m_left; }

    /** In a transaction of the ledger's one thread; all else as Ledger::take. */
    std::size_t take(LedgerDatabase const& database, QString const& service);

private:
    struct Row
    {
        QString sha256;     ///< of columns and texts, in any order
        QString identifier; ///< the first text
    };

    std::size_t takenBefore(QString const& sha256) const;
    void findFree(LedgerDatabase const& database);

    QString const m_file;
    QString const m_columns; ///< in the order of the alphabet: what tells pools apart
    std::vector<Row> m_rows;
    std::deque<std::size_t> m_free; ///< rows that may be free, in order
    bool m_isSearched = false;
    std::atomic<std::size_t> m_left;
};
