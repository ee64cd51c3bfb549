#include "tools/vrelhost/ledger/LedgerReport.h"
#include "tests/ledger/LedgerFixture.h"
#include "tools/vrelhost/ledger/LedgerProcesses.h"
#include "tools/vrelhost/ledger/LedgerReader.h"

#include <cstring>

namespace {

constexpr qint64 kBegin = 1767225600000; // 2026-01-01
constexpr qint64 kMinute = 60000;
constexpr qint64 kAlive = 7;

/** A small day, from which all figures below were computed by hand. */
struct Served
{
    char const* service;
    char const* serial;
    char const* job;
    char const* path;
    int began; ///< in minutes, as ended; below 0 for none
    int ended;
    char const* result;
    char const* error;
    std::vector<LedgerStep> steps;
    qint64 process = 1;
};

LedgerStep step(int number, char const* result, qint64 duration, char const* error = nullptr)
{
    return {number, number == 1 ? QStringLiteral("enumerate") : QStringLiteral("writetoken"),
            QLatin1String(result), duration, QLatin1String(error)};
}

std::vector<Served> const kDay = {
    {"s1",
     "A",
     "J1",
     "1-1",
     0,
     1,
     "failure",
     "slot busy",
     {step(1, "success", 100), step(2, "failure", 50, "slot busy")}},
    {"s2", "B", "J1", "1-2", 1, 2, "success", nullptr, {step(1, "success", 110), step(2, "success", 210)}},
    {"s3", "A", "J1", "1-1", 2, 3, "success", nullptr, {step(1, "success", 100), step(2, "success", 200)}},
    {"s4",
     "C",
     "J1",
     "1-1",
     4,
     5,
     "failure",
     "no \"module\"",
     {step(1, "failure", 30, "no \"module\""), step(2, "not run", 0)}},
    {"s5", "D", "J1", "1-2", 5, -1, "under way", nullptr, {step(1, "success", 120), step(2, "not run", 0)}},
    {"s6",
     "E",
     "J1",
     "1-3",
     6,
     -1,
     "under way",
     nullptr,
     {step(1, "not run", 0), step(2, "not run", 0)},
     kAlive},
    {"s7", "A", "J2", "1-4", 7, 8, "success", nullptr, {step(1, "success", 40)}},
};

class LedgerReportTest : public LedgerTest
{
protected:
    LedgerReportTest()
    {
        LedgerDatabase const database(m_ledger, LedgerDatabase::Access::Write);
        for (qint64 const process : {qint64{1}, kAlive})
            database.run(QStringLiteral("INSERT INTO processes VALUES (?, 0)"), {process});
        for (Served const& row : kDay)
            insert(database, row);
        m_alive.claim(kAlive);
    }

    static void insert(LedgerDatabase const& database, Served const& row)
    {
        QVariant const ended = row.ended < 0 ? QVariant() : QVariant(kBegin + row.ended * kMinute);
        QVariant const duration = row.ended < 0 ? QVariant() : QVariant(kMinute);
        database.run(
            QStringLiteral("INSERT INTO services VALUES (?, ?, ?, ?, 'line', 'in-process', ?, ?, ?, ?, ?, "
                           "NULL, '1.0', '2.0', ?, ?)"),
            {QLatin1String(row.service), QLatin1String(row.serial), QLatin1String(row.path),
             QLatin1String(row.job), kBegin + row.began * kMinute, ended, duration, QLatin1String(row.result),
             row.error == nullptr ? QVariant() : QLatin1String(row.error), row.steps.size() > 1 ? 1 : 0,
             row.process});
        for (LedgerStep const& step : row.steps)
            database.run(QStringLiteral("INSERT INTO steps VALUES (?, ?, ?, ?, ?, ?)"),
                         {QLatin1String(row.service), step.number, step.command, step.result, step.duration,
                          step.error.isEmpty() ? QVariant() : QVariant(step.error)});
        database.run(QStringLiteral("INSERT INTO inputs VALUES (?, 'fw.bin', 3, 'abc')"),
                     {QLatin1String(row.service)});
    }

    LedgerReader const m_reader{m_ledger};
    LedgerProcesses m_alive{m_ledger};
};

TEST_F(LedgerReportTest, CountsBoardsByTheirLastServiceAndStepsByAllRuns)
{
    EXPECT_EQ(
        LedgerReport::toJson(m_reader.summary({})).toStdString(),
        R"([{"job":"J1","boards":5,"success":2,"failure":1,"interrupted":1,"underWay":1,"firstPass":1,)"
        R"("firstPassYield":0.25,"yield":0.5,"began":"2026-01-01T00:00:00.000Z",)"
        R"("ended":"2026-01-01T00:05:00.000Z","perHour":24,"steps":[)"
        R"({"number":1,"command":"enumerate","runs":5,"failures":1,"median":100,"longest":120},)"
        R"({"number":2,"command":"writetoken","runs":3,"failures":1,"median":200,"longest":210}],)"
        R"("errors":[{"text":"no \"module\"","step":1,"command":"enumerate","boards":1}]},)"
        R"({"job":"J2","boards":1,"success":1,"failure":0,"interrupted":0,"underWay":0,"firstPass":1,)"
        R"("firstPassYield":1,"yield":1,"began":"2026-01-01T00:07:00.000Z",)"
        R"("ended":"2026-01-01T00:08:00.000Z","perHour":null,"steps":[)"
        R"({"number":1,"command":"enumerate","runs":1,"failures":0,"median":40,"longest":40}],"errors":[]}])"
        "\n");

    LedgerFilter late;
    late.since = kBegin + 2 * kMinute; // A's first service is not chosen, and counts for the first pass
    late.job = QStringLiteral("J1");
    auto const summary = m_reader.summary(late).at(0);
    EXPECT_EQ(summary.boards, 4);
    EXPECT_EQ(summary.firstPass, 0);
    EXPECT_EQ(summary.steps.at(0).median, 100);

    LedgerFilter busy;
    busy.result = QStringLiteral("under way");
    EXPECT_EQ(LedgerReport::toJson(m_reader.summary(busy)).toStdString(),
              R"([{"job":"J1","boards":1,"success":0,"failure":0,"interrupted":0,"underWay":1,"firstPass":0,)"
              R"("firstPassYield":null,"yield":null,"began":"2026-01-01T00:06:00.000Z","ended":null,)"
              R"("perHour":null,"steps":[],"errors":[]}])"
              "\n");
}

/** Rows of "SERIAL JOB RESULT ATTEMPTS STEP". */
std::string shown(std::vector<LedgerBoard> const& boards)
{
    std::string text;
    for (LedgerBoard const& board : boards)
        text += QStringLiteral("%1 %2 %3 %4 %5\n")
                    .arg(board.serial, board.job, board.result, QString::number(board.attempts), board.step)
                    .toStdString();
    return text;
}

TEST_F(LedgerReportTest, ShowsBoardsByTheirLastService)
{
    EXPECT_EQ(shown(m_reader.boards({})), "A J1 success 2 2/2\n"
                                          "A J2 success 1 \n"
                                          "B J1 success 1 2/2\n"
                                          "C J1 failure 1 1/2 enumerate\n"
                                          "D J1 interrupted 1 2/2 writetoken\n"
                                          "E J1 under way 1 1/2 enumerate\n");
    LedgerFilter failed;
    failed.result = QStringLiteral("failure"); // which A's last service is not
    EXPECT_EQ(LedgerReport::toJson(m_reader.boards(failed)).toStdString(),
              R"([{"serial":"C","job":"J1","station":"line","path":"1-1","result":"failure","attempts":1,)"
              R"("first":"2026-01-01T00:04:00.000Z","last":"2026-01-01T00:05:00.000Z",)"
              R"("step":"1/2 enumerate","error":"no \"module\""}])"
              "\n");
    LedgerFilter part;
    part.limit = 2;
    part.offset = 1;
    EXPECT_EQ(shown(m_reader.boards(part)), "A J2 success 1 \nB J1 success 1 2/2\n");
}

TEST_F(LedgerReportTest, ShowsServicesAndPlaces)
{
    LedgerFilter one;
    one.serial = QStringLiteral("D");
    EXPECT_EQ(LedgerReport::toJson(QStringLiteral("D"), m_reader.services(one)).toStdString(),
              R"({"serial":"D","services":[{"service":"s5","serial":"D","path":"1-2","job":"J1",)"
              R"("station":"line","route":"in-process","began":"2026-01-01T00:05:00.000Z","ended":null,)"
              R"("duration":null,"result":"interrupted","error":null,"log":null,"steps":[)"
              R"({"command":"enumerate","result":"success","duration":120,"error":null},)"
              R"({"command":"writetoken","result":"not run","duration":0,"error":null}],)"
              R"("inputs":[{"name":"fw.bin","size":3,"sha256":"abc"}],"tool":"1.0","library":"2.0"}]})"
              "\n");
    LedgerFilter failures;
    failures.result = QStringLiteral("failure");
    failures.until = kBegin + 4 * kMinute;
    auto const services = m_reader.services(failures);
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services.front().service, QStringLiteral("s1"));

    std::string places;
    for (LedgerService const& service : m_reader.places({}))
        places += (service.path + QLatin1Char(' ') + service.service + QLatin1Char('\n')).toStdString();
    EXPECT_EQ(places, "1-1 s4\n1-2 s5\n1-3 s6\n1-4 s7\n");
}

TEST_F(LedgerReportTest, ShowsTablesAndCsv)
{
    LedgerFilter one;
    one.serial = QStringLiteral("C");
    EXPECT_EQ(
        LedgerReport::toTable(m_reader.boards(one)).toStdString(),
        "SERIAL  JOB  STATION  PATH  RESULT   ATTEMPTS  FIRST                 LAST                  STEP   "
        "        ERROR\n"
        "C       J1   line     1-1   failure  1         2026-01-01T00:04:00Z  2026-01-01T00:05:00Z  1/2 "
        "enumerate  no \"module\"\n");
    EXPECT_EQ(LedgerReport::toCsv(m_reader.boards(one)).toStdString(),
              "serial,job,station,path,result,attempts,first,last,step,error\r\n"
              R"(C,J1,line,"=""1-1""",failure,1,2026-01-01T00:04:00.000Z,2026-01-01T00:05:00.000Z,)"
              R"("=""1/2 enumerate""","no ""module""")"
              "\r\n");
    EXPECT_EQ(LedgerReport::toCsv(m_reader.services(one)).toStdString(),
              "service,serial,path,job,station,route,began,ended,duration,result,error,log,steps,inputs,tool,"
              "library\r\n"
              R"(s4,C,"=""1-1""",J1,line,in-process,2026-01-01T00:04:00.000Z,2026-01-01T00:05:00.000Z,60000,)"
              R"(failure,"no ""module""",,"=""1/2 enumerate""",fw.bin=abc,"=""1.0""","=""2.0""")"
              "\r\n");
    EXPECT_EQ(
        LedgerReport::toTable(m_reader.summary(one)).toStdString(),
        "JOB  BOARDS  SUCCESS  FAILURE  INTERRUPTED  UNDER WAY  FIRST PASS  FIRST PASS YIELD  YIELD  BEGAN "
        "                ENDED                 PER HOUR\n"
        "J1   1       0        1        0            0          0           0.0 %             0.0 %  "
        "2026-01-01T00:04:00Z  2026-01-01T00:05:00Z  -\n"
        "\n"
        "JOB  NUMBER  COMMAND    RUNS  FAILURES  MEDIAN   LONGEST\n"
        "J1   1       enumerate  1     1         0.030 s  0.030 s\n"
        "\n"
        "JOB  TEXT         STEP  COMMAND    BOARDS\n"
        "J1   no \"module\"  1     enumerate  1\n");
}

TEST(LedgerCsvTest, KeepsSpreadsheetsFromChangingTexts)
{
    std::vector<std::pair<char const*, char const*>> const cells = {
        {"VREL0001", "VREL0001"},
        {"0012", R"("=""0012""")"},
        {"1E5", R"("=""1E5""")"},
        {"-1", R"("=""-1""")"},
        {" 1", R"("="" 1""")"},
        {"=1+\"1\"", R"("=""=1+""""1""""""")"},
        {"@sum", R"("=""@sum""")"},
        {"true", R"("=""true""")"},
        {"truest", "truest"},
        {"Mar 5", R"("=""Mar 5""")"},
        {"march-05", R"("=""march-05""")"},
        {"Marten5", R"("=""Marten5""")"},
        {"a,b", R"("a,b")"},
        {"a\"b", R"("a""b")"},
        {"a\nb", "\"a\nb\""},
        {"\xC3\xA4", "\xC3\xA4"},
        {"", ""},
    };
    for (auto const& [text, cell] : cells) {
        LedgerBoard board;
        board.serial = QString::fromUtf8(text);
        QByteArray const csv = LedgerReport::toCsv({board});
        std::string const row = csv.mid(csv.indexOf("\r\n") + 2).toStdString();
        EXPECT_EQ(row.substr(0, row.size() - std::strlen(",,,,,0,1970-01-01T00:00:00.000Z,,,\r\n")), cell)
            << text;
    }
}

TEST(LedgerFilterTest, ReadsTimesAndAges)
{
    constexpr qint64 kDay2 = kBegin + 24 * 60 * kMinute;
    std::vector<std::pair<char const*, qint64>> const times = {
        {"2026-01-01", kBegin},
        {"2026-01-01T00:00:01Z", kBegin + 1000},
        {"2026-01-01T00:01", kBegin + kMinute},
        {"2026-01-01T00:00:00.250", kBegin + 250},
        {"2026-01-01T02:00:00+02:00", kBegin},
        {"90s", kDay2 - 90000},
        {"15m", kDay2 - 15 * kMinute},
        {"8h", kDay2 - 8 * 60 * kMinute},
        {"1d", kBegin},
    };
    ::setenv("TZ", "Asia/Tokyo", 1); // has nothing to do with it
    QString error;
    for (auto const& [text, time] : times)
        EXPECT_EQ(LedgerFilter::readTime(QLatin1String(text), kDay2, error), time) << text;
    for (char const* const text : {"", "8", "8x", "-8h", "8h ", "1.5h", "9999999999d", "yesterday",
                                   "2026-13-01", "2026-01-01T25:00"}) {
        error.clear();
        EXPECT_EQ(LedgerFilter::readTime(QLatin1String(text), kDay2, error), std::nullopt) << text;
        EXPECT_TRUE(error.contains(QStringLiteral("is not a time"))) << text;
    }
}

} // namespace
