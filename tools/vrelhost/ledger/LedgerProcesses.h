#pragma once

#include <QList>
#include <QString>

class LedgerDatabase;

/**
 * Which of a ledger's processes are alive. Each holds a lock on a byte of its own, the one of its number, in
 * a file beside the ledger. The system drops the lock with the process, however that ends, and never sooner.
 */
class LedgerProcesses
{
public:
    /** @param ledger the ledger's file */
    explicit LedgerProcesses(QString ledger);
    ~LedgerProcesses();
    LedgerProcesses(LedgerProcesses const&) = delete;
    LedgerProcesses& operator=(LedgerProcesses const&) = delete;

    /**
     * Claims a number for this process, until this object's end; the file is made where it is missing.
     * @return false when a living process has it
     */
    bool claim(qint64 process);

    /** Whether a process has ever worked with the file where it lies now; a copy is another. */
    bool isKnown() const;

    /** Those of services under way that no living process has. */
    QList<qint64> deadUnderWay(LedgerDatabase const& database) const;

    /** Those that no living process has. */
    QList<qint64> dead(QList<qint64> const& processes) const;

private:
    QString const m_ledger;
    int m_file = -1;
};
