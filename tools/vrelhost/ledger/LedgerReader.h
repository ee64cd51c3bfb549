#pragma once

#include "tools/vrelhost/ledger/LedgerFilter.h"
#include "tools/vrelhost/ledger/LedgerRows.h"

#include <functional>
#include <vector>

class LedgerDatabase;

/**
 * Reads a ledger while others write it, or nobody does. Each operation opens it, sees it as it was at one
 * moment, makes no writer wait or fail, and leaves nothing behind. It can be called on any thread, and needs
 * a QCoreApplication. Without a ledger, or with one that cannot be read, it throws a LedgerError.
 */
class LedgerReader
{
public:
    explicit LedgerReader(QString file);

    /** By serial number and job. The filter's result is that of the last of the services that it chooses. */
    std::vector<LedgerBoard> boards(LedgerFilter const& filter) const;

    /** By their begin. */
    std::vector<LedgerService> services(LedgerFilter const& filter) const;

    /** By their first begin. The filter's result chooses boards, as for boards; limit and offset are not
     * used. */
    std::vector<LedgerSummary> summary(LedgerFilter const& filter) const;

    /** The last service of each place, which is a USB path of a station; by these. */
    std::vector<LedgerService> places(LedgerFilter const& filter) const;

    /** @param dead processes whose services are under way no more */
    using Query = std::function<void(LedgerDatabase const& database, QList<qint64> const& dead)>;

    /** Another question; it may be asked several times, of which the last one counts. */
    void read(Query const& query) const;

private:
    QString const m_file;
};
