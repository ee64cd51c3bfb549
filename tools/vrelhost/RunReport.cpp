#include "tools/vrelhost/RunReport.h"

#include "tools/vrelhost/ReportText.h"

namespace {

QString word(DeviceResult::Outcome outcome)
{
    static constexpr char const* kWords[] = {"not run", "success", "failure"};
    return QLatin1String(kWords[outcome]);
}

QString orDash(QString const& text)
{
    return text.isNull() ? QStringLiteral("-") : text;
}

} // namespace

QByteArray RunReport::toTable(std::vector<DeviceResult> const& results)
{
    constexpr double kMillisecondsPerSecond = 1000;
    QList<QStringList> rows{{QStringLiteral("PATH"), QStringLiteral("SERIAL"), QStringLiteral("RESULT"),
                             QStringLiteral("SECONDS"), QStringLiteral("ERROR")}};
    for (DeviceResult const& result : results)
        rows << QStringList{
            orDash(result.device.path), result.device.serial, word(result.outcome),
            QString::number(static_cast<double>(result.duration) / kMillisecondsPerSecond, 'f', 3),
            orDash(result.error)};
    return ReportText::table(rows);
}

QByteArray RunReport::toJson(std::vector<DeviceResult> const& results)
{
    QList<QByteArray> entries;
    for (DeviceResult const& result : results)
        // By hand, since QJsonObject would sort the keys.
        entries << R"({"serial":)" + ReportText::json(result.device.serial) + R"(,"path":)" +
                       ReportText::json(result.device.path) + R"(,"result":)" +
                       ReportText::json(word(result.outcome)) + R"(,"duration":)" +
                       QByteArray::number(result.duration) + R"(,"error":)" + ReportText::json(result.error) +
                       '}';
    return ReportText::jsonArray(entries);
}
