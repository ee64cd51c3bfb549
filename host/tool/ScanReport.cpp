#include "host/tool/ScanReport.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {

/** Names and serial numbers come from outside: they must not steer a terminal. */
QString printable(QString text)
{
    auto const cannotBePrinted = [](QChar character) {
        return !character.isPrint() && !character.isSurrogate();
    };
    std::replace_if(text.begin(), text.end(), cannotBePrinted, QLatin1Char('?'));
    return text;
}

QString hex4(std::uint16_t number)
{
    return QStringLiteral("%1").arg(number, 4, 16, QLatin1Char('0'));
}

QByteArray tableRow(QString const& path, int pathWidth, QString const& ids, char const* claimed,
                    QString const& serial)
{
    QString const row = QStringLiteral("%1  %2  %3  %4\n")
                            .arg(path.leftJustified(pathWidth), ids.leftJustified(9),
                                 QString::fromLatin1(claimed, -1).leftJustified(7), serial);
    return row.toUtf8();
}

/** A text as JSON has it, quotes and all; null for a null text. */
QByteArray jsonText(QString const& text)
{
    QJsonArray const array{text.isNull() ? QJsonValue() : QJsonValue(text)};
    QByteArray const json = QJsonDocument(array).toJson(QJsonDocument::Compact);
    return json.mid(1, json.size() - 2);
}

} // namespace

QByteArray ScanReport::toTable(std::vector<ScannedDevice> const& devices)
{
    if (devices.empty())
        return "No USB devices found\n";
    QString const pathTitle = QStringLiteral("PATH");
    int pathWidth = pathTitle.size();
    for (ScannedDevice const& device : devices)
        pathWidth = std::max(pathWidth, device.path.size());
    QByteArray table =
        tableRow(pathTitle, pathWidth, QStringLiteral("ID"), "CLAIMED", QStringLiteral("SERIAL"));
    for (ScannedDevice const& device : devices)
        table += tableRow(printable(device.path), pathWidth,
                          hex4(device.vendorId) + QLatin1Char(':') + hex4(device.productId),
                          device.isClaimed ? "yes" : "no",
                          device.serial.isNull() ? QStringLiteral("-") : printable(device.serial));
    return table;
}

QByteArray ScanReport::toJson(std::vector<ScannedDevice> const& devices)
{
    QByteArray json;
    for (ScannedDevice const& device : devices) {
        json += json.isEmpty() ? '[' : ',';
        // By hand, since QJsonObject would sort the keys.
        json += R"({"path":)" + jsonText(device.path) + R"(,"vendor":)" +
                QByteArray::number(device.vendorId) + R"(,"product":)" +
                QByteArray::number(device.productId) + R"(,"claimed":)" +
                (device.isClaimed ? "true" : "false") + R"(,"serial":)" + jsonText(device.serial) + '}';
    }
    return json.isEmpty() ? "[]\n" : json + "]\n";
}
