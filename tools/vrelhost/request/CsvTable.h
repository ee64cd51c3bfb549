#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

/**
 * A table of texts as RFC 4180 has it, in UTF-8, with or without byte-order mark, lines ended by CR LF or LF.
 * Its header has names that can be placeholders, and no two rows are equal.
 */
class CsvTable
{
public:
    enum Use
    {
        ForTake,  ///< any board gets any row
        ForLookUp ///< the column "serial" says whose a row is; each serial number has one
    };

    /** @throw Refusal It names the file, and the line that is wrong. */
    static CsvTable read(QString const& file, Use use);

    /** @param file its name, for a refusal */
    static CsvTable parse(QByteArray const& text, QString const& file, Use use);

    QStringList const& columns() const { return m_columns; }

    /** Each has as many texts as there are columns; none is null. */
    std::vector<QStringList> const& rows() const { return m_rows; }

    /** The row of a board, where the table is for look-up. */
    std::optional<std::size_t> rowOf(QString const& serial) const;

private:
    void add(QStringList const& texts, int line, int serial, QHash<QStringList, int>& lines);

    QStringList m_columns;
    std::vector<QStringList> m_rows;
    QHash<QString, std::size_t> m_serials;
};
