#include "tools/vrelview/LineQueries.h"

#include "tools/common/ReportText.h"
#include "tools/vrelhost/ledger/LedgerColumns.h"
#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelhost/ledger/LedgerReader.h"
#include "tools/vrelhost/ledger/LedgerReport.h"
#include "tools/vrelhost/ledger/LedgerSelection.h"
#include "tools/vrelview/LogFiles.h"

QByteArray LineQueries::hours(LedgerReader const& reader, LedgerFilter const& filter)
{
    constexpr qint64 kHour = 3600000;
    QList<QByteArray> hours;
    reader.read([&](LedgerDatabase const& database, QList<qint64> const& dead) {
        hours.clear();
        LedgerSelection selection(filter, dead);
        selection.addBoards();
        selection.read(
            database,
            QStringLiteral("SELECT ended / %1 AS hour, SUM(CASE WHEN state = 'success' THEN 1 ELSE 0 END), "
                           "SUM(CASE WHEN state = 'failure' THEN 1 ELSE 0 END) FROM boards "
                           "WHERE ended IS NOT NULL GROUP BY ended / %1 ORDER BY ended / %1")
                    .arg(kHour) +
                LedgerSelection::limitOf(filter),
            [&](QSqlQuery const& row) {
                QString const time = LedgerColumns::timeText(row.value(0).toLongLong() * kHour);
                hours << R"({"hour":)" + ReportText::json(time) + R"(,"success":)" +
                             row.value(1).toByteArray() + R"(,"failure":)" + row.value(2).toByteArray() + '}';
            });
    });
    return ReportText::jsonArray(hours) + '\n';
}

QByteArray LineQueries::search(LedgerReader const& reader, QString const& text)
{
    constexpr int kShown = 20;
    LedgerFilter const all;
    QList<QByteArray> boards;
    reader.read([&](LedgerDatabase const& database, QList<qint64> const& dead) {
        boards.clear();
        LedgerSelection selection(all, dead);
        selection.add(QStringLiteral("found AS (SELECT DISTINCT serial FROM services "
                                     "WHERE instr(lower(serial), lower(?)) > 0 "
                                     "ORDER BY length(serial), serial LIMIT %1)")
                          .arg(kShown),
                      {text});
        selection.read(
            database,
            QStringLiteral("SELECT serial, job, station, path, state, began FROM chosen WHERE service IN "
                           "(SELECT (SELECT service FROM services WHERE serial = found.serial "
                           "ORDER BY began DESC, service DESC LIMIT 1) FROM found) "
                           "ORDER BY length(serial), serial"),
            [&boards](QSqlQuery const& row) {
                QByteArray board;
                int column = 0;
                for (char const* const key : {"serial", "job", "station", "path", "result"})
                    board += '"' + QByteArray(key) +
                             "\":" + ReportText::json(row.value(column++).toString()) + ',';
                QString const began = LedgerColumns::timeText(row.value(column).toLongLong());
                boards << '{' + board + R"("began":)" + ReportText::json(began) + '}';
            });
    });
    return ReportText::jsonArray(boards) + '\n';
}

QByteArray LineQueries::places(LedgerReader const& reader, LedgerFilter const& filter)
{
    QList<QByteArray> places;
    for (LedgerService const& service : reader.places(filter)) {
        QString const line = service.log.isNull() ? QString() : LogFiles::lastLine(service.log);
        places << LedgerReport::toPlaceJson(service, R"(,"line":)" + ReportText::json(line));
    }
    return ReportText::jsonArray(places) + '\n';
}

QString LineQueries::logOf(LedgerReader const& reader, QString const& service)
{
    QString name;
    reader.read([&](LedgerDatabase const& database, auto const& /*dead*/) {
        name = database.value(QStringLiteral("SELECT log FROM services WHERE service = ?"), {service})
                   .toString();
    });
    return name;
}
