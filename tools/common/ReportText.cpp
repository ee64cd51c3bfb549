#include "tools/common/ReportText.h"

#include "framework/CompactJson.h"

#include <QJsonArray>

#include <algorithm>

QString ReportText::printable(QString text)
{
    for (QChar& character : text) {
        if (character.isSpace())
            character = QLatin1Char(' ');
        else if (!character.isPrint() && !character.isSurrogate())
            character = QLatin1Char('?');
    }
    return text;
}

QByteArray ReportText::row(QStringList const& cells, QList<int> const& widths)
{
    QStringList columns;
    for (int column = 0; column < cells.size(); ++column) {
        bool const isLast = column + 1 == cells.size();
        columns << printable(cells.at(column)).leftJustified(isLast ? 0 : widths.at(column));
    }
    return columns.join(QStringLiteral("  ")).toUtf8() + '\n';
}

QByteArray ReportText::table(QList<QStringList> const& rows)
{
    QList<int> widths;
    for (QStringList const& cells : rows) {
        for (int column = 0; column < cells.size(); ++column) {
            if (column == widths.size())
                widths << 0;
            widths[column] = std::max(widths.at(column), cells.at(column).size());
        }
    }
    QByteArray text;
    for (QStringList const& cells : rows)
        text += row(cells, widths);
    return text;
}

QByteArray ReportText::json(QString const& text)
{
    auto const isPlain = [](QChar character) {
        return character >= QLatin1Char(' ') && character < QLatin1Char('\x7F') &&
               character != QLatin1Char('"') && character != QLatin1Char('\\');
    };
    if (text.isNull())
        return QByteArrayLiteral("null");
    if (std::all_of(text.begin(), text.end(), isPlain)) // nearly all: this is ten times as quick
        return '"' + text.toLatin1() + '"';
    QByteArray const json = toCompactText(QJsonDocument(QJsonArray{text}));
    return json.mid(1, json.size() - 2);
}

QByteArray ReportText::jsonArray(QList<QByteArray> const& values)
{
    return '[' + values.join(',') + ']';
}
