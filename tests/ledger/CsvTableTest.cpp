#include "tools/vrelhost/request/CsvTable.h"
#include "tools/vrelhost/request/Refusal.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

/** "NAME|NAME", and each row likewise in brackets; or what it is refused for. */
std::string shown(char const* text, CsvTable::Use use)
{
    try {
        CsvTable const table = CsvTable::parse(QByteArray(text), QStringLiteral("t.csv"), use);
        QString result = table.columns().join(QLatin1Char('|'));
        for (QStringList const& row : table.rows())
            result += QLatin1Char('[') + row.join(QLatin1Char('|')) + QLatin1Char(']');
        return result.toStdString();
    } catch (Refusal const& refusal) {
        QString cause = refusal.cause();
        return cause.remove(QStringLiteral("Cannot use the table 't.csv': ")).toStdString();
    }
}

struct TableRow
{
    char const* text;
    char const* shown;
    CsvTable::Use use = CsvTable::ForTake;
};

constexpr TableRow kRows[] = {
    {"id,token\n1,a\n2,b\n", "id|token[1|a][2|b]"},
    {"\xEF\xBB\xBFid,token\r\n1,a\r\n2,b", "id|token[1|a][2|b]"},
    {"id", "id"},
    {"id,token\n\"1,\"\"x\"\"\n\",\xC3\xA4 \n,\n", "id|token[1,\"x\"\n|\xC3\xA4 ][|]"},
    {"id\n\"\"\n", "id[]"},
    {"id\n\xEF\xBB\xBFx\n", "id[\xEF\xBB\xBFx]"},
    {"serial,token\nA,1\nB,1\n", "serial|token[A|1][B|1]", CsvTable::ForLookUp},
    {"", "it is empty, and needs a line with the names of its columns"},
    {"id,,b\n", "line 1 cannot have a column '': names are made of ASCII letters, digits, - and _"},
    {"id\n1\n\n", "line 3 is blank: remove it, or write \"\" for an empty text"},
    {"id,a b\n", "line 1 cannot have a column 'a b': names are made of ASCII letters, digits, - and _"},
    {"id,id\n", "line 1 cannot have a column 'id': it stands there more than once"},
    {"id,path\n", "line 1 cannot have a column 'path': {path} is the device's own"},
    {"serial,id\n", "line 1 cannot have a column 'serial': {serial} is the device's own"},
    {"id,token\n", "line 1 has no column 'serial', which says whose a row is", CsvTable::ForLookUp},
    {"id,token\n1,a\n2\n", "line 3 does not have as many texts as the header: 1, not 2"},
    {"id,token\n\"1\n\",a\n2,b,c\n", "line 4 does not have as many texts as the header: 3, not 2"},
    {"id,token\n1,a\n2,a\n\"1\",a\n", "line 4 has the same texts as line 2"},
    {"serial,token\nA,1\n\r\nB,2\n", "line 3 is blank: remove it, or write \"\" for an empty text",
     CsvTable::ForLookUp},
    {"serial,token\nA,1\nA,2\n", "line 3 has the same serial number as line 2", CsvTable::ForLookUp},
    {"id\n1\n\"2\n3\n", "line 3 begins a text with a quote that no other one ends"},
    {"id\n1\"\n",
     "line 2 holds a quote in a text: put all of the text into quotes, and write each quote in it twice"},
    {"id\n\"1\"2\n",
     "line 2 holds a quote in a text: put all of the text into quotes, and write each quote in it twice"},
    {"id\n1\r2\n", "line 2 holds a carriage return that no line feed follows"},
    {"id\n1\n\xFF\n", "line 3 is not UTF-8"},
    {"id\n1\n\xC3", "line 3 is not UTF-8"},
};

TEST(CsvTableTest, YieldsRowsOrNamesTheLineThatIsWrong)
{
    for (TableRow const& row : kRows)
        EXPECT_EQ(shown(row.text, row.use), row.shown) << row.text;
    EXPECT_THROW(CsvTable::parse(QByteArray("id\n\0\n", 5), QString(), CsvTable::ForTake), Refusal);
}

TEST(CsvTableTest, KnowsWhoseARowIs)
{
    CsvTable const table =
        CsvTable::parse("token,serial\n1,A\n2,B\n", QStringLiteral("t.csv"), CsvTable::ForLookUp);
    EXPECT_EQ(table.rowOf(QStringLiteral("B")), 1U);
    EXPECT_EQ(table.rowOf(QStringLiteral("b")), std::nullopt);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    for (QString const& file : {QStringLiteral("/nowhere.csv"), QStringLiteral("/"),
                                QStringLiteral("/dev/fd/%1").arg(ends[0])}) // which nobody writes
        EXPECT_THROW(CsvTable::read(file, CsvTable::ForTake), Refusal) << qPrintable(file);
}

} // namespace
