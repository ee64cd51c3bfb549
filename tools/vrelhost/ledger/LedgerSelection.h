#pragma once

#include "tools/vrelhost/ledger/LedgerFilter.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <functional>

class LedgerDatabase;
class QSqlQuery;

/**
 * The services that a filter chooses, as tables that statements begin with. The first is "chosen": services
 * by all of the filter but the result, which is in their column "state".
 */
class LedgerSelection
{
public:
    /** @param dead processes whose services are under way no more */
    LedgerSelection(LedgerFilter const& filter, QList<qint64> const& dead);

    /** @param table as "name AS (...)", with values for its placeholders */
    void add(QString const& table, QVariantList const& values = {});

    /** Adds a table of those rows of `from`, which ends in a condition, that have the filter's result. */
    void addWithResult(QString const& name, QString const& from);

    /** Adds the table "boards": what is chosen and the last service of a board in its job, with the filter's
     * result. */
    void addBoards();

    /** Shows each row that a statement about these tables yields. */
    void read(LedgerDatabase const& database, QString const& statement,
              std::function<void(QSqlQuery const& row)> const& show) const;

    /** The end of a statement. */
    static QString limitOf(LedgerFilter const& filter);

private:
    std::optional<QString> const m_result;
    QString m_tables;
    QVariantList m_values;
};
