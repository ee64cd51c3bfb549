#include "tools/vrelhost/ledger/LedgerMerge.h"

#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelhost/ledger/LedgerProcesses.h"

#include <QFileInfo>

namespace {

QString const kColumns = QStringLiteral("service, serial, path, job, station, route, began, ended, duration, "
                                        "result, error, log, tool, library, recipe");

/** The conditions after WHERE keep SQLite from reading ON as that of a join. */
QString insertion(QString const& table, QString const& columns)
{
    return QStringLiteral("INSERT INTO main.%1 (%2) SELECT %2 FROM other.%1 WHERE 1 = 1 ")
        .arg(table, columns);
}

/** A service's own ledger knows best what has become of it, and an end stays. */
void mergeInto(LedgerDatabase const& database)
{
    database.run(insertion(QStringLiteral("services"), kColumns) +
                 QStringLiteral("ON CONFLICT (service) DO UPDATE SET ended = excluded.ended, "
                                "duration = excluded.duration, result = excluded.result, "
                                "error = excluded.error WHERE services.process IS NULL "
                                "AND services.ended IS NULL "
                                "AND (services.result = 'under way' OR excluded.ended IS NOT NULL)"));
    database.run(insertion(QStringLiteral("steps"),
                           QStringLiteral("service, number, command, result, duration, error")) +
                 QStringLiteral("ON CONFLICT (service, number) DO UPDATE SET result = excluded.result, "
                                "duration = excluded.duration, error = excluded.error "
                                "WHERE steps.result = 'not run' AND (SELECT process FROM services "
                                "WHERE services.service = excluded.service) IS NULL"));
    database.run(insertion(QStringLiteral("inputs"), QStringLiteral("service, name, size, sha256")) +
                 QStringLiteral("ON CONFLICT DO NOTHING"));
    database.run(insertion(QStringLiteral("taken"),
                           QStringLiteral("sha256, columns, identifier, job, serial, service, given")) +
                 QStringLiteral("ON CONFLICT DO NOTHING"));
}

} // namespace

void mergeLedger(QString const& file, QString const& other)
{
    LedgerDatabase::readWhole(other, [&](LedgerDatabase::Access access, auto const& requireWhole) {
        LedgerDatabase const source(other, access); // judges it
        LedgerProcesses const processes(other);
        auto const dead = processes.isKnown() ? processes.deadUnderWay(source) : QList<qint64>();
        LedgerDatabase const target(file, LedgerDatabase::Access::Write);
        if (QFileInfo(file).canonicalFilePath() == QFileInfo(other).canonicalFilePath())
            return;
        target.attach(other, access, QStringLiteral("other"));
        target.transaction([&] {
            mergeInto(target);
            for (qint64 const process : dead)
                target.run(
                    QStringLiteral("UPDATE services SET result = 'interrupted' WHERE result = 'under way' "
                                   "AND process IS NULL AND service IN (SELECT service FROM "
                                   "other.services WHERE process = ?)"),
                    {process});
            requireWhole();
        });
    });
}
