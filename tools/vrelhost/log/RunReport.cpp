#include "tools/vrelhost/log/RunReport.h"

#include "plugin/VrelVersion.h"
#include "tools/common/ReportText.h"

#include <algorithm>
#include <iterator>

namespace {

/** Of the columns of a table whose rows come one by one. */
QList<int> const kWidths = {7, 16, 7, 8};
constexpr int kStepWidth = 16;

QString orDash(QString const& text)
{
    return text.isNull() ? QStringLiteral("-") : text;
}

/** How far a recipe came, with the step that failed. */
QString progress(std::vector<DeviceResult::Step> const& steps)
{
    auto const end = std::find_if(steps.begin(), steps.end(),
                                  [](Outcome const& step) { return step.kind != Outcome::Success; });
    bool const hasFailed = end != steps.end() && end->kind == Outcome::Failure;
    QString const text =
        QStringLiteral("%1/%2").arg(end - steps.begin() + (hasFailed ? 1 : 0)).arg(steps.size());
    return hasFailed ? text + QLatin1Char(' ') + end->command : text;
}

QStringList head(bool hasSteps)
{
    QStringList cells{QStringLiteral("PATH"), QStringLiteral("SERIAL"), QStringLiteral("RESULT"),
                      QStringLiteral("SECONDS")};
    if (hasSteps)
        cells << QStringLiteral("STEP");
    return cells << QStringLiteral("ERROR");
}

QStringList row(DeviceResult const& result)
{
    constexpr double kMillisecondsPerSecond = 1000;
    QStringList cells{orDash(result.device.path), result.device.serial, RunReport::word(result),
                      QString::number(static_cast<double>(result.duration) / kMillisecondsPerSecond, 'f', 3)};
    if (!result.steps.empty())
        cells << progress(result.steps);
    return cells << orDash(result.error);
}

QByteArray line(QStringList const& cells)
{
    QList<int> widths = kWidths;
    if (cells.size() > kWidths.size() + 1)
        widths << kStepWidth;
    return ReportText::row(cells, widths << 0);
}

/** The keys that devices and steps share; by hand, since QJsonObject would sort them. */
QByteArray members(Outcome const& outcome)
{
    return R"("result":)" + ReportText::json(RunReport::word(outcome)) + R"(,"duration":)" +
           QByteArray::number(outcome.duration) + R"(,"error":)" + ReportText::json(outcome.error);
}

QByteArray record(DeviceResult const& result)
{
    return R"(,"job":)" + ReportText::json(result.job) +
           (result.service.isNull() ? QByteArray() : R"(,"service":)" + ReportText::json(result.service));
}

/** @param more members */
QByteArray object(DeviceResult const& result, QByteArray const& more = {})
{
    QList<QByteArray> steps;
    for (DeviceResult::Step const& step : result.steps)
        steps << R"({"command":)" + ReportText::json(step.command) + ',' + members(step) + '}';
    return R"({"serial":)" + ReportText::json(result.device.serial) + R"(,"path":)" +
           ReportText::json(result.device.path) + ',' + members(result) + record(result) +
           (steps.isEmpty() ? QByteArray() : R"(,"steps":)" + ReportText::jsonArray(steps)) + more + '}';
}

} // namespace

QString RunReport::word(Outcome const& outcome)
{
    static constexpr char const* kWords[] = {"not run", "success", "failure", "done"};
    return QLatin1String(kWords[outcome.kind]);
}

QByteArray RunReport::toTable(std::vector<DeviceResult> const& results, bool hasSteps)
{
    QList<QStringList> rows{head(hasSteps)};
    std::transform(results.begin(), results.end(), std::back_inserter(rows), row);
    return ReportText::table(rows);
}

QByteArray RunReport::toJson(std::vector<DeviceResult> const& results)
{
    QList<QByteArray> entries;
    for (DeviceResult const& result : results)
        entries << object(result);
    return ReportText::jsonArray(entries) + '\n';
}

QByteArray RunReport::toTableHead(bool hasSteps)
{
    return line(head(hasSteps));
}

QByteArray RunReport::toTableRow(DeviceResult const& result)
{
    return line(row(result));
}

QByteArray RunReport::toJsonLine(DeviceResult const& result, QString const& time)
{
    return object(result, R"(,"time":)" + ReportText::json(time)) + '\n';
}

QByteArray RunReport::toFirstMembers(DeviceResult const& result, QStringList const& commands,
                                     std::vector<LedgerInput> const& inputs)
{
    QList<QByteArray> names;
    for (QString const& command : commands)
        names << ReportText::json(command);
    QList<QByteArray> files;
    for (LedgerInput const& input : inputs)
        files << R"({"name":)" + ReportText::json(input.name) + R"(,"size":)" +
                     QByteArray::number(input.size) + R"(,"sha256":)" + ReportText::json(input.sha256) + '}';
    return record(result) + R"(,"recipe":)" + ReportText::jsonArray(names) + R"(,"inputs":)" +
           ReportText::jsonArray(files) + R"(,"tool":)" + ReportText::json(QStringLiteral(VREL_VERSION_STR));
}

QByteArray RunReport::toLastMembers(DeviceResult const& result)
{
    return ',' + members(result);
}
