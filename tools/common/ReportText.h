#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/** What the results of several subcommands are made of. */
namespace ReportText {

/** A text from outside without what could steer a terminal: white space shows as blanks, the rest as '?'. */
QString printable(QString text);

/** Cells in columns of these widths, UTF-8 with a line end; what cannot be printed shows as '?'. */
QByteArray row(QStringList const& cells, QList<int> const& widths);

/** Rows of as many cells each, in columns, UTF-8 with line ends; what cannot be printed shows as '?'. */
QByteArray table(QList<QStringList> const& rows);

/** A text as JSON has it, quotes and all; null for a null text. */
QByteArray json(QString const& text);

/** A compact JSON array of values that are JSON already. */
QByteArray jsonArray(QList<QByteArray> const& values);

} // namespace ReportText
