#pragma once

#include "tools/vrelhost/ledger/LedgerPool.h"
#include "tools/vrelhost/request/TableFile.h"

#include <memory>
#include <mutex>

class Ledger;
class LogHandler;

/** The rows of a table, each of which a ledger gives to one device. Any thread. */
class RowPool
{
public:
    explicit RowPool(std::shared_ptr<TableFile> file);

    /**
     * The row of a service's device, whose texts are added to the values. Throws LedgerError or Refusal when
     * it has none. That few are left is logged at level 2, once.
     */
    void take(Ledger& ledger, QString const& service, Placeholders& values, LogHandler const& log);

private:
    /** The table as it was once. */
    struct Rows
    {
        explicit Rows(TableFile& file);

        std::shared_ptr<CsvTable const> table;
        LedgerPool pool;
    };

    std::shared_ptr<Rows> current();
    void warnOfEnd(LedgerPool const& pool, LogHandler const& log);

    std::shared_ptr<TableFile> const m_file;
    std::mutex m_mutex; ///< guards all below
    std::shared_ptr<Rows> m_rows;
    bool m_hasWarned = false;
};
