#include "tools/vrelhost/subcommands/ScanReport.h"

#include "tools/vrelhost/log/ReportText.h"

namespace {

QString hex4(std::uint16_t number)
{
    return QStringLiteral("%1").arg(number, 4, 16, QLatin1Char('0'));
}

QString serialCell(ScannedDevice const& device)
{
    if (!device.serial.isNull())
        return device.serial;
    return device.isDenied ? QStringLiteral("(no permission)") : QStringLiteral("-");
}

} // namespace

QByteArray ScanReport::toTable(std::vector<ScannedDevice> const& devices)
{
    if (devices.empty())
        return "No USB devices found\n";
    QList<QStringList> rows{
        {QStringLiteral("PATH"), QStringLiteral("ID"), QStringLiteral("CLAIMED"), QStringLiteral("SERIAL")}};
    for (ScannedDevice const& device : devices)
        rows << QStringList{device.path, hex4(device.vendorId) + QLatin1Char(':') + hex4(device.productId),
                            device.isClaimed ? QStringLiteral("yes") : QStringLiteral("no"),
                            serialCell(device)};
    return ReportText::table(rows);
}

QByteArray ScanReport::toJson(std::vector<ScannedDevice> const& devices)
{
    QList<QByteArray> entries;
    for (ScannedDevice const& device : devices)
        // By hand, since QJsonObject would sort the keys.
        entries << R"({"path":)" + ReportText::json(device.path) + R"(,"vendor":)" +
                       QByteArray::number(device.vendorId) + R"(,"product":)" +
                       QByteArray::number(device.productId) + R"(,"claimed":)" +
                       (device.isClaimed ? "true" : "false") + R"(,"serial":)" +
                       ReportText::json(device.serial) + '}';
    return ReportText::jsonArray(entries) + '\n';
}
