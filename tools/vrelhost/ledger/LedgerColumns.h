#pragma once

#include "tools/common/ReportText.h"

#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

/** Rows in their forms, by tables that name the columns: as JSON, CSV, tables for people, and as JSON Schema.
 */
namespace LedgerColumns {

enum class Kind
{
    Plain,
    Name,     ///< a text that is never missing
    Time,     ///< milliseconds since 1970
    Duration, ///< milliseconds
    Share     ///< 0 to 1
};

/** A column of rows, which is a key in JSON. */
template <typename Row>
struct Column
{
    char const* name;
    std::variant<std::monostate, QString Row::*, int Row::*, qint64 Row::*, std::optional<qint64> Row::*,
                 double Row::*, QString (Row::*)() const, std::optional<double> (Row::*)() const,
                 QString (*)(Row const& row)>
        value; ///< nothing where only JSON has it
    Kind kind = Kind::Plain;
    QByteArray (*json)(Row const& row) = nullptr; ///< of what is no single value; otherwise null
    QByteArray (*itemSchema)() = nullptr;         ///< of its elements
};

/** What is in a row there: a text, or a number if there is one. */
using Cell = std::variant<QString, std::optional<qint64>, std::optional<double>>;

template <typename Value>
Cell asCell(Value const& value)
{
    if constexpr (std::is_integral_v<Value>)
        return std::optional<qint64>(value);
    else if constexpr (std::is_same_v<Value, double>)
        return std::optional<double>(value);
    else
        return value;
}

template <typename Row>
Cell cellOf(Row const& row, Column<Row> const& column)
{
    return std::visit(
        [&row](auto const& value) -> Cell {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>)
                return QString();
            else
                return asCell(std::invoke(value, row));
        },
        column.value);
}

/** A time as the JSON has it: UTC, ISO 8601, with milliseconds. */
QString timeText(qint64 time);

QByteArray json(Cell const& cell, Kind kind);
QByteArray csv(Cell const& cell, Kind kind);
QString tableText(Cell const& cell, Kind kind);

/** A column's name, for people. */
QString headText(char const* name);

template <typename Row, std::size_t N>
QStringList head(Column<Row> const (&columns)[N])
{
    QStringList texts;
    for (Column<Row> const& column : columns) {
        if (column.value.index() > 0)
            texts << headText(column.name);
    }
    return texts;
}

template <typename Row, std::size_t N>
QStringList cells(Row const& row, Column<Row> const (&columns)[N])
{
    QStringList texts;
    for (Column<Row> const& column : columns) {
        if (column.value.index() > 0)
            texts << tableText(cellOf(row, column), column.kind);
    }
    return texts;
}

template <typename Row, std::size_t N>
QByteArray table(std::vector<Row> const& rows, Column<Row> const (&columns)[N])
{
    QList<QStringList> texts{head(columns)};
    for (Row const& row : rows)
        texts << cells(row, columns);
    return ReportText::table(texts);
}

template <typename Row, std::size_t N>
QByteArray csvTable(std::vector<Row> const& rows, Column<Row> const (&columns)[N])
{
    QByteArray text;
    for (Column<Row> const& column : columns)
        text += (&column == columns ? "" : ",") + QByteArray(column.name);
    text += "\r\n";
    for (Row const& row : rows) {
        for (Column<Row> const& column : columns) {
            text += &column == columns ? "" : ",";
            text += csv(cellOf(row, column), column.kind);
        }
        text += "\r\n";
    }
    return text;
}

/** By hand, since QJsonObject would sort the keys. */
template <typename Row, std::size_t N>
QByteArray object(Row const& row, Column<Row> const (&columns)[N])
{
    QByteArray text;
    for (Column<Row> const& column : columns) {
        text += text.isEmpty() ? "{\"" : ",\"";
        text += column.name;
        text += "\":";
        text += column.json == nullptr ? json(cellOf(row, column), column.kind) : column.json(row);
    }
    return text += '}';
}

template <typename Row, std::size_t N>
QByteArray array(std::vector<Row> const& rows, Column<Row> const (&columns)[N])
{
    QByteArray text("[");
    for (Row const& row : rows) {
        text += &row == rows.data() ? "" : ",";
        text += object(row, columns);
    }
    return text += ']';
}

/** The JSON type of a column's values. */
template <typename Value>
char const* typeOf(Kind kind)
{
    bool const isTime = kind == Kind::Time;
    if constexpr (std::is_same_v<Value, QString>)
        return kind == Kind::Name ? R"("string")" : R"(["string","null"])";
    else if constexpr (std::is_integral_v<Value>)
        return isTime ? R"("string")" : R"("integer")";
    else if constexpr (std::is_same_v<Value, std::optional<qint64>>)
        return isTime ? R"(["string","null"])" : R"(["integer","null"])";
    else if constexpr (std::is_same_v<Value, double>)
        return R"("number")";
    else
        return R"(["number","null"])";
}

template <typename Row>
QByteArray valueSchema(Column<Row> const& column)
{
    if (column.itemSchema != nullptr)
        return R"({"type":"array","items":)" + column.itemSchema() + '}';
    char const* const type = std::visit(
        [&column](auto const& value) {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>)
                return "";
            else
                return typeOf<std::decay_t<std::invoke_result_t<decltype(value), Row const&>>>(column.kind);
        },
        column.value);
    return QByteArray(R"({"type":)") + type + (column.kind == Kind::Time ? R"(,"format":"date-time"})" : "}");
}

/** A JSON Schema of a row, which has all keys. */
template <typename Row, std::size_t N>
QByteArray rowSchema(Column<Row> const (&columns)[N])
{
    QList<QByteArray> properties;
    QList<QByteArray> keys;
    for (Column<Row> const& column : columns) {
        keys << '"' + QByteArray(column.name) + '"';
        properties << keys.constLast() + ':' + valueSchema(column);
    }
    return R"({"type":"object","required":)" + ReportText::jsonArray(keys) + R"(,"properties":{)" +
           properties.join(',') + "}}";
}

} // namespace LedgerColumns
