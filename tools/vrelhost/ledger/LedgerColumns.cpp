#include "tools/vrelhost/ledger/LedgerColumns.h"

#include <QDateTime>
#include <QRegularExpression>

namespace {

using LedgerColumns::Kind;

QByteArray jsonOf(QString const& text, Kind /*kind*/)
{
    return ReportText::json(text);
}

QByteArray jsonOf(std::optional<qint64> number, Kind kind)
{
    if (!number)
        return QByteArrayLiteral("null");
    return kind == Kind::Time ? ReportText::json(LedgerColumns::timeText(*number))
                              : QByteArray::number(*number);
}

QByteArray jsonOf(std::optional<double> number, Kind /*kind*/)
{
    constexpr int kDigits = 12;
    return number ? QByteArray::number(*number, 'g', kDigits) : QByteArrayLiteral("null");
}

/** As a spreadsheet shows it: what it would take for something else is the result of a formula. */
QByteArray csvOf(QString const& text)
{
    static QRegularExpression const s_changed(
        QStringLiteral(
            "\\A([^\\p{L}/_]|(true|false)\\z|(jan|feb|mar|apr|may|jun|jul|aug|sep|oct|nov|dec)[a-z]*"
            "[ ./-]*[0-9])"),
        QRegularExpression::CaseInsensitiveOption);
    static QRegularExpression const s_quoted(QStringLiteral("[\",\\r\\n]"));
    QString cell = text;
    if (s_changed.match(cell).hasMatch())
        cell = QStringLiteral("=\"%1\"").arg(cell.replace(QLatin1Char('"'), QStringLiteral("\"\"")));
    if (s_quoted.match(cell).hasMatch())
        cell = QLatin1Char('"') + cell.replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
    return cell.toUtf8();
}

QString tableTextOf(QString const& text, Kind /*kind*/)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QString tableTextOf(std::optional<double> number, Kind kind)
{
    constexpr double kMillisecondsPerSecond = 1000;
    constexpr double kPercent = 100;
    if (!number)
        return QStringLiteral("-");
    if (kind == Kind::Duration)
        return QString::number(*number / kMillisecondsPerSecond, 'f', 3) + QStringLiteral(" s");
    return kind == Kind::Share ? QString::number(*number * kPercent, 'f', 1) + QStringLiteral(" %")
                               : QString::number(*number, 'f', 1);
}

QString tableTextOf(std::optional<qint64> number, Kind kind)
{
    if (number && kind == Kind::Duration)
        return tableTextOf(std::optional<double>(static_cast<double>(*number)), kind);
    if (number && kind == Kind::Time)
        return QDateTime::fromMSecsSinceEpoch(*number, Qt::UTC).toString(Qt::ISODate);
    return number ? QString::number(*number) : QStringLiteral("-");
}

} // namespace

QString LedgerColumns::timeText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).toString(Qt::ISODateWithMs);
}

QByteArray LedgerColumns::json(Cell const& cell, Kind kind)
{
    return std::visit([kind](auto const& value) { return jsonOf(value, kind); }, cell);
}

QByteArray LedgerColumns::csv(Cell const& cell, Kind kind)
{
    if (auto const* const text = std::get_if<QString>(&cell))
        return csvOf(*text);
    auto const number = std::get<std::optional<qint64>>(cell);
    if (!number)
        return QByteArray();
    return kind == Kind::Time ? LedgerColumns::timeText(*number).toLatin1() : QByteArray::number(*number);
}

QString LedgerColumns::tableText(Cell const& cell, Kind kind)
{
    return std::visit([kind](auto const& value) { return tableTextOf(value, kind); }, cell);
}

QString LedgerColumns::headText(char const* name)
{
    static QRegularExpression const s_capital(QStringLiteral("(?=[A-Z])"));
    return QString::fromLatin1(name).replace(s_capital, QStringLiteral(" ")).toUpper();
}
