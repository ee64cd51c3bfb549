#include "tools/vrelhost/ReportText.h"

#include <QJsonArray>
#include <QJsonDocument>

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

QByteArray ReportText::table(QList<QStringList> rows)
{
    QList<int> widths;
    for (QStringList& row : rows) {
        for (int column = 0; column < row.size(); ++column) {
            row[column] = printable(row.at(column));
            if (column == widths.size())
                widths << 0;
            widths[column] = std::max(widths.at(column), row.at(column).size());
        }
    }
    QByteArray text;
    for (QStringList const& row : rows) {
        QStringList cells;
        for (int column = 0; column < row.size(); ++column)
            cells << row.at(column).leftJustified(column + 1 < row.size() ? widths.at(column) : 0);
        text += cells.join(QStringLiteral("  ")).toUtf8() + '\n';
    }
    return text;
}

QByteArray ReportText::json(QString const& text)
{
    QJsonArray const array{text.isNull() ? QJsonValue() : QJsonValue(text)};
    QByteArray const json = QJsonDocument(array).toJson(QJsonDocument::Compact);
    return json.mid(1, json.size() - 2);
}

QByteArray ReportText::jsonArray(QList<QByteArray> const& values)
{
    return '[' + values.join(',') + "]\n";
}
