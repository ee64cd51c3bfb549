#pragma once

#include "tools/vrelhost/ledger/LedgerReader.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/stat.h>
#include <vector>

/**
 * Notices that a ledger tells something else than before: it was written, replaced, made or damaged, a
 * process that worked with it died, or the log of a board that is under way has grown. It looks at files'
 * states and locks, and opens the ledger only when these have changed.
 */
class LedgerWatch
{
public:
    enum class Change
    {
        None,
        Lines, ///< of logs alone
        Ledger
    };

    explicit LedgerWatch(QString file);

    /** What has changed since the last call. */
    Change look();

    /** Why the ledger could not be read at the last look; empty when it could. */
    QString const& fault() const { return m_fault; }

private:
    struct FileState
    {
        dev_t device = 0;
        ino_t node = 0;
        off_t size = -1;
        qint64 changed = 0; ///< nanoseconds since 1970

        explicit FileState(QString const& name);
        bool operator==(FileState const& other) const;
    };

    bool haveFilesChanged();
    void readUnderWay();

    QString const m_file;
    LedgerReader const m_reader;
    std::vector<FileState> m_files;
    QList<qint64> m_processes; ///< with services under way
    QList<qint64> m_dead;      ///< those of them that have ended
    QStringList m_logs;        ///< of services under way
    QList<qint64> m_logSizes;
    QString m_fault;
};
