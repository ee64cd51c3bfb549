#include "tests/fuzz/Require.h"
#include "tools/vrelhost/request/CsvTable.h"
#include "tools/vrelhost/request/Refusal.h"

#include <optional>
#include <set>

/**
 * @file
 * A table in its two uses: refused with a cause that names the file, or rows that are read again as they are
 * when each of their texts is written in quotes.
 */
namespace {

std::optional<CsvTable> parsed(QByteArray const& text, CsvTable::Use use)
{
    QString const name = QStringLiteral("t.csv");
    try {
        return CsvTable::parse(text, name, use);
    } catch (Refusal const& refusal) {
        require(refusal.cause().startsWith(QStringLiteral("Cannot use the table 't.csv': ")),
                "a refusal says of what");
        return std::nullopt;
    }
}

QByteArray lineOf(QStringList const& texts)
{
    QList<QByteArray> cells;
    for (QString const& text : texts)
        cells << '"' + text.toUtf8().replace('"', "\"\"") + '"';
    return cells.join(',') + "\r\n";
}

void checkRows(CsvTable const& table, CsvTable::Use use)
{
    std::set<QStringList> rows;
    QByteArray text = lineOf(table.columns());
    for (std::size_t i = 0; i < table.rows().size(); ++i) {
        QStringList const& row = table.rows()[i];
        require(row.size() == table.columns().size() && rows.insert(row).second, "rows fit, and differ");
        if (use == CsvTable::ForLookUp)
            require(table.rowOf(row.at(table.columns().indexOf(QStringLiteral("serial")))) == i,
                    "a board finds its row");
        text += lineOf(row);
    }
    auto const again = parsed(text, use);
    require(again && again->columns() == table.columns() && again->rows() == table.rows(),
            "what is written in quotes is read as it was");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    QByteArray const text(reinterpret_cast<char const*>(data), static_cast<int>(size));
    for (auto const use : {CsvTable::ForTake, CsvTable::ForLookUp}) {
        auto const table = parsed(text, use);
        if (table)
            checkRows(*table, use);
    }
    return 0;
}
