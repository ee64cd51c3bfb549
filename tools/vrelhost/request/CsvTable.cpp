#include "tools/vrelhost/request/CsvTable.h"

#include "tools/common/ReportText.h"
#include "tools/vrelhost/request/Refusal.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextCodec>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

QLatin1String const kSerialColumn("serial");

/** Far above any table; keeps a wrong path such as a device file from filling the memory. */
constexpr qint64 kLargestTable = qint64{64} * 1024 * 1024;

Refusal refusal(QString const& file, QString const& cause)
{
    return Refusal(QStringLiteral("Cannot use the table '%1': %2").arg(file, cause), Refusal::NoAdvice);
}

/** What is wrong in a line. */
struct LineFault
{
    int line;
    QString cause;
};

/** Yields row after row; throws LineFault. */
class CsvReader
{
public:
    explicit CsvReader(QByteArray const& text)
        : m_text(text)
    {
        take("\xEF\xBB\xBF");
    }

    bool isAtEnd() const { return m_at == m_text.size(); }

    /** Where the next row begins, from 1. */
    int line() const { return m_line; }

    QStringList row()
    {
        if (take("\r\n") || take("\n"))
            fail(m_line, "is blank: remove it, or write \"\" for an empty text");
        QStringList texts{text()};
        while (take(","))
            texts << text();
        if (!isAtEnd() && !take("\r\n") && !take("\n"))
            fail(m_line, m_text.at(m_at) == '\r'
                             ? "holds a carriage return that no line feed follows"
                             : "holds a quote in a text: put all of the text into quotes, and write each "
                               "quote in it twice");
        ++m_line;
        return texts;
    }

private:
    [[noreturn]] static void fail(int line, char const* cause)
    {
        throw LineFault{line, QLatin1String(cause)};
    }

    bool take(char const* bytes)
    {
        QByteArray const expected = QByteArray::fromRawData(bytes, static_cast<int>(std::strlen(bytes)));
        bool const isThere = std::equal(expected.begin(), expected.end(), m_text.begin() + m_at,
                                        m_text.begin() + std::min(m_text.size(), m_at + expected.size()));
        m_at += isThere ? expected.size() : 0;
        return isThere;
    }

    QString text()
    {
        if (take("\""))
            return quoted();
        auto const* const end = std::find_if(m_text.begin() + m_at, m_text.end(), [](char byte) {
            return std::strchr(",\"\r\n", byte) != nullptr && byte != '\0';
        });
        int const begin = std::exchange(m_at, static_cast<int>(end - m_text.begin()));
        return decoded(m_text.mid(begin, m_at - begin), m_line);
    }

    QString quoted()
    {
        int const begin = m_line;
        QByteArray bytes;
        for (bool isOpen = true; isOpen;) {
            int const quote = m_text.indexOf('"', m_at);
            if (quote < 0)
                fail(begin, "begins a text with a quote that no other one ends");
            bytes += m_text.mid(m_at, quote - m_at);
            m_at = quote + 1;
            isOpen = take("\"");
            bytes += isOpen ? "\"" : "";
        }
        m_line += bytes.count('\n');
        return decoded(bytes, begin);
    }

    static QString decoded(QByteArray const& bytes, int line)
    {
        QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
        constexpr int kUtf8 = 106;
        QString const text = QTextCodec::codecForMib(kUtf8)->toUnicode(bytes.data(), bytes.size(), &state);
        if (state.invalidChars > 0 || state.remainingChars > 0)
            fail(line, "is not UTF-8");
        if (text.contains(QChar(u'\0')))
            fail(line, "holds a NUL");
        return text.isNull() ? QLatin1String("") : text;
    }

    QByteArray const& m_text;
    int m_at = 0;
    int m_line = 1;
};

/** Names become placeholders, beside those that a device gives. */
void judgeHeader(QStringList const& names, CsvTable::Use use)
{
    static QRegularExpression const s_name(QStringLiteral("\\A[A-Za-z0-9_-]+\\z"));
    for (QString const& name : names) {
        QString cause;
        if (!s_name.match(name).hasMatch())
            cause = QStringLiteral("names are made of ASCII letters, digits, - and _");
        else if (names.count(name) > 1)
            cause = QStringLiteral("it stands there more than once");
        else if (name == QLatin1String("path") || (name == kSerialColumn && use == CsvTable::ForTake))
            cause = QStringLiteral("{%1} is the device's own").arg(name);
        if (!cause.isEmpty())
            throw LineFault{
                1, QStringLiteral("cannot have a column '%1': %2").arg(ReportText::printable(name), cause)};
    }
    if (use == CsvTable::ForLookUp && !names.contains(kSerialColumn))
        throw LineFault{1, QStringLiteral("has no column 'serial', which says whose a row is")};
}

} // namespace

CsvTable CsvTable::read(QString const& name, Use use)
{
    QFile file(name);
    // A pipe gives its content once, and a table is read again when it has changed.
    if (file.exists() && !QFileInfo(file).isFile())
        throw refusal(name, QStringLiteral("it is not a regular file"));
    if (!file.open(QIODevice::ReadOnly))
        throw refusal(name, file.errorString());
    QByteArray const text = file.read(kLargestTable + 1);
    if (file.error() != QFileDevice::NoError)
        throw refusal(name, file.errorString());
    if (text.size() > kLargestTable)
        throw refusal(name, QStringLiteral("it is larger than %1 bytes").arg(kLargestTable));
    return parse(text, name, use);
}

CsvTable CsvTable::parse(QByteArray const& text, QString const& file, Use use)
{
    CsvReader reader(text);
    CsvTable table;
    if (reader.isAtEnd())
        throw refusal(file, QStringLiteral("it is empty, and needs a line with the names of its columns"));
    try {
        table.m_columns = reader.row();
        judgeHeader(table.m_columns, use);
        QHash<QStringList, int> lines;
        int const serial = use == ForLookUp ? table.m_columns.indexOf(kSerialColumn) : -1;
        while (!reader.isAtEnd()) {
            int const line = reader.line();
            table.add(reader.row(), line, serial, lines);
        }
    } catch (LineFault const& fault) {
        throw refusal(file, QStringLiteral("line %1 %2").arg(fault.line).arg(fault.cause));
    }
    return table;
}

void CsvTable::add(QStringList const& texts, int line, int serial, QHash<QStringList, int>& lines)
{
    if (texts.size() != m_columns.size())
        throw LineFault{line, QStringLiteral("does not have as many texts as the header: %1, not %2")
                                  .arg(texts.size())
                                  .arg(m_columns.size())};
    QStringList const key = serial < 0 ? texts : QStringList(texts.at(serial));
    if (lines.contains(key))
        throw LineFault{line, QStringLiteral("has the same %1 as line %2")
                                  .arg(serial < 0 ? QStringLiteral("texts") : QStringLiteral("serial number"))
                                  .arg(lines.value(key))};
    lines.insert(key, line);
    if (serial >= 0)
        m_serials.insert(texts.at(serial), m_rows.size());
    m_rows.push_back(texts);
}

std::optional<std::size_t> CsvTable::rowOf(QString const& serial) const
{
    auto const row = m_serials.find(serial);
    return row == m_serials.end() ? std::nullopt : std::make_optional(*row);
}
