#include "tools/vrelhost/runs/RowPool.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/vrelhost/ledger/Ledger.h"
#include "tools/vrelhost/request/Placeholders.h"

#include <utility>

RowPool::RowPool(std::shared_ptr<TableFile> file)
    : m_file(std::move(file))
{
}

RowPool::Rows::Rows(TableFile& file)
    : table(file.current())
    , pool(file.name(), table->columns(), table->rows())
{
}

void RowPool::take(Ledger& ledger, QString const& service, Placeholders& values, LogHandler const& log)
{
    auto const rows = current();
    std::size_t const row = ledger.take(service, rows->pool);
    TableFile::fill(values, *rows->table, row);
    log.logMessage(kProgressLevel, QStringLiteral("Took the row '%1' of '%2'")
                                       .arg(rows->table->rows().at(row).constFirst(), m_file->name()));
    warnOfEnd(rows->pool, log);
}

std::shared_ptr<RowPool::Rows> RowPool::current()
{
    std::lock_guard const lock(m_mutex);
    if (!m_rows || m_rows->table != m_file->current())
        m_rows = std::make_shared<Rows>(*m_file);
    return m_rows;
}

void RowPool::warnOfEnd(LedgerPool const& pool, LogHandler const& log)
{
    constexpr std::size_t kFewest = 10; // in a hundred
    std::lock_guard const lock(m_mutex);
    if (pool.left() * 100 >= pool.size() * kFewest || std::exchange(m_hasWarned, true))
        return;
    log.logMessage(kWarningLevel,
                   QStringLiteral("Fewer than 10 % of the rows of '%1' are left: %2 of %3; add more")
                       .arg(m_file->name())
                       .arg(pool.left())
                       .arg(pool.size()));
}
