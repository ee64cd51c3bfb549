#include "tools/vrelhost/ledger/LedgerSelection.h"

#include "tools/vrelhost/ledger/LedgerDatabase.h"

namespace {

QString numbers(QList<qint64> const& list)
{
    QStringList texts{QStringLiteral("0")}; // which no process has: an empty list is no SQL
    for (qint64 const number : list)
        texts << QString::number(number);
    return texts.join(QLatin1Char(','));
}

} // namespace

LedgerSelection::LedgerSelection(LedgerFilter const& filter, QList<qint64> const& dead)
    : m_result(filter.result)
    , m_values({filter.since, filter.until})
{
    QString condition = QStringLiteral("began >= ? AND began < ?");
    auto const demand = [&](char const* column, std::optional<QString> const& text) {
        if (!text)
            return;
        condition += QStringLiteral(" AND %1 = ?").arg(QLatin1String(column));
        m_values << *text;
    };
    demand("job", filter.job);
    demand("serial", filter.serial);
    demand("station", filter.station);
    m_tables = QStringLiteral("chosen AS NOT MATERIALIZED (SELECT services.*, CASE WHEN result = 'under way' "
                              "AND process IN (%1) "
                              "THEN 'interrupted' ELSE result END AS state FROM services WHERE %2)")
                   .arg(numbers(dead), condition);
}

void LedgerSelection::add(QString const& table, QVariantList const& values)
{
    m_tables += QStringLiteral(", ") + table;
    m_values += values;
}

void LedgerSelection::addWithResult(QString const& name, QString const& from)
{
    QString const condition = m_result ? QStringLiteral(" AND state = ?") : QString();
    add(QStringLiteral("%1 AS (SELECT * FROM %2%3)").arg(name, from, condition),
        m_result ? QVariantList{*m_result} : QVariantList());
}

/** Along the index, which takes half the time of ranking all services by a window. */
void LedgerSelection::addBoards()
{
    addWithResult(QStringLiteral("boards"),
                  QStringLiteral("chosen WHERE NOT EXISTS (SELECT 1 FROM chosen AS later "
                                 "WHERE later.serial = chosen.serial AND later.job = chosen.job "
                                 "AND (later.began, later.service) > (chosen.began, chosen.service))"));
}

void LedgerSelection::read(LedgerDatabase const& database, QString const& statement,
                           std::function<void(QSqlQuery const& row)> const& show) const
{
    database.read(QStringLiteral("WITH RECURSIVE ") + m_tables + QLatin1Char(' ') + statement, m_values,
                  show);
}

QString LedgerSelection::limitOf(LedgerFilter const& filter)
{
    return QStringLiteral(" LIMIT %1 OFFSET %2").arg(filter.limit).arg(filter.offset);
}
