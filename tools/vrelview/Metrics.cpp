#include "tools/vrelview/Metrics.h"

#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelhost/ledger/LedgerReader.h"
#include "tools/vrelhost/ledger/LedgerSelection.h"

namespace {

/** Of the histogram, in milliseconds: from a query of a device to an image that is written for minutes. */
constexpr qint64 kBounds[] = {10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000, 300000, 1000000};
constexpr double kSecond = 1000;

QByteArray label(char const* name, QVariant const& value)
{
    QByteArray text = value.toString().toUtf8();
    text.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return QByteArray(name) + "=\"" + text + '"';
}

QByteArray line(QByteArray const& name, QByteArray const& labels, QByteArray const& value)
{
    return name + '{' + labels + "} " + value + '\n';
}

QByteArray head(QByteArray const& name, QByteArray const& type, QByteArray const& help)
{
    return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

QByteArray boards(LedgerDatabase const& database, LedgerSelection const& selection)
{
    QByteArray text = head("vrel_boards", "gauge", "Boards by the result of their last service in a job.");
    selection.read(database,
                   QStringLiteral("SELECT job, station, state, COUNT(*) FROM boards "
                                  "GROUP BY job, station, state ORDER BY job, station, state"),
                   [&text](QSqlQuery const& row) {
                       text += line("vrel_boards",
                                    label("job", row.value(0)) + ',' + label("station", row.value(1)) + ',' +
                                        label("result", row.value(2)),
                                    row.value(3).toByteArray());
                   });
    return text;
}

QByteArray underWay(LedgerDatabase const& database, LedgerSelection const& selection)
{
    QByteArray text = head("vrel_services_under_way", "gauge", "Boards that a station serves now.");
    selection.read(
        database,
        QStringLiteral("SELECT station, SUM(CASE WHEN state = 'under way' THEN 1 ELSE 0 END) FROM chosen "
                       "GROUP BY station ORDER BY station"),
        [&text](QSqlQuery const& row) {
            text +=
                line("vrel_services_under_way", label("station", row.value(0)), row.value(1).toByteArray());
        });
    return text;
}

QByteArray steps(LedgerDatabase const& database, LedgerSelection const& selection)
{
    QByteArray text = head("vrel_step_seconds", "histogram", "Durations of steps that were run.");
    QString sums;
    for (qint64 const bound : kBounds)
        sums += QStringLiteral(", SUM(CASE WHEN steps.duration <= %1 THEN 1 ELSE 0 END)").arg(bound);
    selection.read(
        database,
        QStringLiteral("SELECT job, command, SUM(steps.duration), COUNT(*)%1 FROM chosen JOIN steps ON "
                       "steps.service = chosen.service WHERE steps.result <> 'not run' "
                       "GROUP BY job, command ORDER BY job, command")
            .arg(sums),
        [&text](QSqlQuery const& row) {
            QByteArray const labels = label("job", row.value(0)) + ',' + label("command", row.value(1));
            QByteArray const count = row.value(3).toByteArray();
            int column = 4;
            for (qint64 const bound : kBounds) {
                text +=
                    line("vrel_step_seconds_bucket",
                         labels + ",le=\"" + QByteArray::number(static_cast<double>(bound) / kSecond) + '"',
                         row.value(column++).toByteArray());
            }
            text += line("vrel_step_seconds_bucket", labels + ",le=\"+Inf\"", count);
            text += line("vrel_step_seconds_sum", labels,
                         QByteArray::number(row.value(2).toDouble() / kSecond, 'f', 3));
            text += line("vrel_step_seconds_count", labels, count);
        });
    return text;
}

} // namespace

QByteArray Metrics::text(LedgerReader const& reader)
{
    QByteArray text;
    reader.read([&text](LedgerDatabase const& database, QList<qint64> const& dead) {
        LedgerSelection selection(LedgerFilter(), dead);
        selection.addBoards();
        text = boards(database, selection) + underWay(database, selection) + steps(database, selection);
    });
    return text;
}
