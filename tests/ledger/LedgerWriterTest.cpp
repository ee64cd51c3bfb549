#include "tests/ledger/LedgerFixture.h"
#include "tools/vrelhost/ledger/InputFiles.h"
#include "tools/vrelhost/ledger/LedgerMerge.h"
#include "tools/vrelhost/ledger/LedgerPool.h"
#include "tools/vrelhost/ledger/LedgerReader.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <thread>

using testing::HasSubstr;

namespace {

using LedgerWriterTest = LedgerTest;

QString const kSuccess = QStringLiteral("success");
QString const kJob = QStringLiteral("job");

constexpr char const* kStates = "SELECT serial, result FROM services ORDER BY serial, began, service";

std::vector<QStringList> rows(int count)
{
    std::vector<QStringList> result;
    for (int i = 0; i < count; ++i)
        result.push_back({QStringLiteral("id%1").arg(i), QStringLiteral("secret%1").arg(i)});
    return result;
}

LedgerPool pool(int count, QString const& columns = QStringLiteral("id,token"))
{
    return {QStringLiteral("pool.csv"), columns.split(QLatin1Char(',')), rows(count)};
}

TEST_F(LedgerWriterTest, KeepsEachMomentOfAService)
{
    LedgerWriter ledger(m_ledger);
    QString const steps = QStringLiteral("SELECT number, result, duration, error FROM steps");
    LedgerBeginning begin = beginning(QStringLiteral("A"));
    begin.log = QStringLiteral("/logs/a.jsonl");
    begin.inputs = {{QStringLiteral("fw.bin"), 3, QStringLiteral("abc")},
                    {QStringLiteral("fw.bin"), 3, QStringLiteral("abc")}};
    QString const service = ledger.begin(begin);
    EXPECT_EQ(rowsOf(m_ledger, "SELECT result, ended, log FROM services"), "under way||/logs/a.jsonl\n");
    EXPECT_EQ(rowsOf(m_ledger, "SELECT name, size, sha256 FROM inputs"), "fw.bin|3|abc\n");
    EXPECT_EQ(rowsOf(m_ledger, steps.toLatin1()), "1|not run|0|\n2|not run|0|\n");
    ledger.endStep(service, {1, QString(), QStringLiteral("failure"), 12, QStringLiteral("slot busy")});
    EXPECT_EQ(rowsOf(m_ledger, steps.toLatin1()), "1|failure|12|slot busy\n2|not run|0|\n");
    EXPECT_EQ(ledger.doneBy(QStringLiteral("A"), kJob), QString());
    ledger.end(service, QStringLiteral("failure"), 15, QStringLiteral("slot busy"));
    EXPECT_EQ(rowsOf(m_ledger, "SELECT result, duration, error, ended >= began FROM services"),
              "failure|15|slot busy|1\n");
    EXPECT_EQ(ledger.doneBy(QStringLiteral("A"), kJob), QString());

    QString const next = serve(ledger, QStringLiteral("A"));
    EXPECT_GT(next, service);
    EXPECT_EQ(ledger.doneBy(QStringLiteral("A"), kJob), next);
    EXPECT_EQ(ledger.doneBy(QStringLiteral("A"), QStringLiteral("other")), QString());
    EXPECT_EQ(ledger.doneBy(QStringLiteral("a"), kJob), QString());
    ledger.begin(beginning(QStringLiteral("A"))); // again
    EXPECT_EQ(ledger.doneBy(QStringLiteral("A"), kJob), QString());
}

TEST_F(LedgerWriterTest, OrdersServicesWhateverTheClockSays)
{
    LedgerWriter ledger(m_ledger);
    serve(ledger, QStringLiteral("A"));
    LedgerDatabase(m_ledger, LedgerDatabase::Access::Write)
        .run(QStringLiteral("UPDATE services SET began = began + 1000000, result = 'failure'"));
    QString const later = serve(ledger, QStringLiteral("A")); // as the clock was put back
    EXPECT_EQ(ledger.doneBy(QStringLiteral("A"), kJob), later);
    EXPECT_EQ(rowsOf(m_ledger, "SELECT result, ended >= began FROM services ORDER BY service"),
              "failure|0\nsuccess|1\n");
}

/** Waits until a child has written to a pipe. */
void waitFor(int pipe)
{
    char byte = 0;
    ASSERT_EQ(::read(pipe, &byte, 1), 1);
}

TEST_F(LedgerWriterTest, CallsInterruptedWhatADeadProcessLeft)
{
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    int const child = runInChild([&] {
        LedgerWriter ledger(m_ledger);
        ledger.begin(beginning(QStringLiteral("A")));
        return ::write(ready[1], "", 1) == 1 ? ::pause() : 1;
    });
    waitFor(ready[0]);
    auto const stateOf = [this](char const* serial) {
        LedgerFilter filter;
        filter.serial = QLatin1String(serial);
        return LedgerReader(m_ledger).boards(filter).at(0).result;
    };
    EXPECT_EQ(stateOf("A"), QStringLiteral("under way"));
    {
        LedgerWriter ledger(m_ledger);
        ledger.begin(beginning(QStringLiteral("B")));
        EXPECT_EQ(stateOf("B"), QStringLiteral("under way")) << "of the process that reads";
    }
    EXPECT_EQ(stateOf("A"), QStringLiteral("under way"));
    EXPECT_EQ(stateOf("B"), QStringLiteral("interrupted"));
    ::kill(child, SIGKILL);
    waitForChild(child);
    EXPECT_EQ(stateOf("A"), QStringLiteral("interrupted"));
    EXPECT_EQ(rowsOf(m_ledger, kStates), "A|under way\nB|under way\n");
    LedgerWriter(m_ledger).makeReady();
    EXPECT_EQ(rowsOf(m_ledger, kStates), "A|interrupted\nB|interrupted\n");
    EXPECT_EQ(rowsOf(m_ledger, "SELECT COUNT(DISTINCT process) FROM processes"), "3\n");
}

/** A disk that is full, here a limit of the size of files, which a process may set for itself. */
TEST_F(LedgerWriterTest, SaysWhatIsNotWrittenAndWritesItLater)
{
    EXPECT_EQ(waitForChild(runInChild([this] {
                  ::signal(SIGXFSZ, SIG_IGN);
                  auto const limit = [](rlim_t size) {
                      rlimit const value = {size, RLIM_INFINITY};
                      ::setrlimit(RLIMIT_FSIZE, &value);
                  };
                  LedgerWriter ledger(m_ledger);
                  QString const service = ledger.begin(beginning(QStringLiteral("A")));
                  limit(1);
                  EXPECT_THAT(errorOf([&] { ledger.begin(beginning(QStringLiteral("B"))); }),
                              testing::StartsWith("unavailable: Cannot use the ledger '"));
                  EXPECT_THAT(ledger.endStep(service, {1, QString(), kSuccess, 5, QString()}).toStdString(),
                              HasSubstr("The end of step 1 is not in the ledger: Cannot use"));
                  EXPECT_THAT(ledger.end(service, kSuccess, 9, QString()).toStdString(),
                              HasSubstr("The result 'success' is not in the ledger: Cannot use"));
                  limit(RLIM_INFINITY);
                  serve(ledger, QStringLiteral("C"));
                  EXPECT_EQ(ledger.doneBy(QStringLiteral("A"), kJob), service);
                  return HasFailure() ? 1 : 0;
              })),
              0);
    EXPECT_EQ(rowsOf(m_ledger, kStates), "A|success\nC|success\n");
    EXPECT_EQ(rowsOf(m_ledger, "SELECT COUNT(*) FROM steps WHERE result = 'success'"), "3\n");
}

TEST_F(LedgerWriterTest, NoticesThatItsFileIsGone)
{
    LedgerWriter ledger(m_ledger);
    QString const service = ledger.begin(beginning(QStringLiteral("A")));
    std::filesystem::remove(m_ledger.toStdString());
    EXPECT_THAT(ledger.end(service, kSuccess, 1, QString()).toStdString(), HasSubstr("was replaced"));
    serve(ledger, QStringLiteral("B"));
    EXPECT_EQ(rowsOf(m_ledger, kStates), "B|success\n");
}

TEST_F(LedgerWriterTest, GivesARowOnceAndTheSameAgain)
{
    auto ledger = std::make_unique<LedgerWriter>(m_ledger);
    LedgerPool three = pool(3);
    QString const first = ledger->begin(beginning(QStringLiteral("A")));
    EXPECT_EQ(ledger->take(first, three), 0U);
    EXPECT_EQ(ledger->take(first, three), 0U);
    EXPECT_EQ(three.left(), 2U);
    EXPECT_EQ(ledger->take(ledger->begin(beginning(QStringLiteral("A"), QStringLiteral("job2"))), three), 1U);

    ledger = std::make_unique<LedgerWriter>(m_ledger);
    LedgerPool copy(QStringLiteral("copy.csv"), {QStringLiteral("token"), QStringLiteral("id")},
                    {{QStringLiteral("secret1"), QStringLiteral("id1")},
                     {QStringLiteral("secret0"), QStringLiteral("id0")},
                     {QStringLiteral("secret2"), QStringLiteral("id2")}});
    EXPECT_EQ(ledger->take(ledger->begin(beginning(QStringLiteral("B"))), copy), 2U);
    EXPECT_EQ(copy.left(), 0U);
    QString const late = ledger->begin(beginning(QStringLiteral("C")));
    EXPECT_THAT(errorOf([&] { ledger->take(late, three); }), HasSubstr("No row of 'pool.csv' is left"));
    LedgerPool other = pool(3, QStringLiteral("id,mac"));
    EXPECT_EQ(ledger->take(late, other), 0U);
    LedgerPool changed(QStringLiteral("pool.csv"), {QStringLiteral("id"), QStringLiteral("token")},
                       {{QStringLiteral("id9"), QStringLiteral("secret9")}});
    QString const again = ledger->begin(beginning(QStringLiteral("A")));
    EXPECT_THAT(errorOf([&] { ledger->take(again, changed); }), HasSubstr("put the row back"));
    EXPECT_EQ(rowsOf(m_ledger,
                     "SELECT identifier, columns, serial, job FROM taken ORDER BY identifier, columns, job"),
              "id0|id,mac|C|job\nid0|id,token|A|job\nid1|id,token|A|job2\nsecret2|id,token|B|job\n");
    EXPECT_THAT(files(), testing::Not(HasSubstr("secret0")));
}

/** Processes of several threads that are killed at random moments, in the middle of commits and of the first
 * one. */
TEST_F(LedgerWriterTest, LosesNothingThatItHasSaidWhateverIsKilled)
{
    constexpr int kRounds = 12;
    constexpr int kProcesses = 3;
    constexpr int kThreads = 3;
    int said[2];
    ASSERT_EQ(::pipe(said), 0);
    auto const work = [&](int process) {
        LedgerWriter ledger(m_ledger);
        LedgerPool shared = pool(2000);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([&, i] {
                for (int board = 0;; ++board) {
                    QString const serial = QStringLiteral("%1-%2-%3").arg(process).arg(i).arg(board);
                    QString const service = ledger.begin(beginning(serial));
                    std::size_t const row = ledger.take(service, shared);
                    ledger.end(service, kSuccess, 1, QString());
                    QByteArray const line =
                        (service + QLatin1Char(' ') + QString::number(row)).toLatin1() + '\n';
                    static_cast<void>(
                        ::write(said[1], line.constData(), static_cast<std::size_t>(line.size())));
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        return 0;
    };
    std::mt19937 random(1);
    auto const bytesSaid = [&] {
        int bytes = 0;
        ::ioctl(said[0], FIONREAD, &bytes);
        return bytes;
    };
    for (int round = 0; round < kRounds || bytesSaid() < 1000; ++round) {
        std::vector<int> children;
        for (int i = 0; i < kProcesses; ++i)
            children.push_back(runInChild([&] { return work(round * kProcesses + i); }));
        for (int const child : children) {
            std::this_thread::sleep_for(
                std::chrono::milliseconds(random() % (20 + 12 * static_cast<unsigned>(round))));
            ::kill(child, SIGKILL);
        }
        for (int const child : children)
            waitForChild(child);
    }
    ::close(said[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t size = 1; size > 0; size = ::read(said[0], buffer, sizeof buffer))
        text.append(buffer, text.empty() && size == 1 ? 0 : static_cast<std::size_t>(size));
    std::string const kept = rowsOf(m_ledger, "SELECT services.service, services.result, identifier FROM "
                                              "services JOIN taken ON taken.service = services.service");
    std::istringstream lines(text);
    std::set<std::string> rowsGiven;
    std::string service;
    for (std::string row; lines >> service >> row;) {
        EXPECT_TRUE(rowsGiven.insert(row).second) << "row " << row << " was given twice";
        EXPECT_THAT(kept, HasSubstr(service + "|success|id" + row + '\n'));
    }
    EXPECT_GT(rowsGiven.size(), 20U);
    for (auto const& board : LedgerReader(m_ledger).boards({}))
        EXPECT_NE(board.result, QStringLiteral("under way"));
    EXPECT_EQ(rowsOf(m_ledger, "PRAGMA integrity_check") + rowsOf(m_ledger, "PRAGMA foreign_key_check"),
              "ok\n");
}

TEST_F(LedgerWriterTest, MergesWhatIsNewAndNeverGoesBack)
{
    QString const desk = path("desk.db");
    QString const older = path("older.db");
    LedgerWriter ledger(m_ledger);
    LedgerPool some = pool(3);
    QString const a = ledger.begin(beginning(QStringLiteral("A")));
    ledger.take(a, some);
    serve(ledger, QStringLiteral("B"));
    EXPECT_EQ(errorOf([&] { mergeLedger(older, m_ledger); }), "");
    EXPECT_EQ(errorOf([&] { mergeLedger(desk, older); }),
              ""); // a copy, which cannot say that the process has died
    EXPECT_EQ(rowsOf(desk, kStates), "A|under way\nB|success\n");
    ledger.endStep(a, {1, QString(), kSuccess, 7, QString()});
    ledger.end(a, kSuccess, 8, QString());
    for (QString const& other : {m_ledger, m_ledger, older, desk})
        EXPECT_EQ(errorOf([&] { mergeLedger(desk, other); }), "");
    EXPECT_EQ(
        rowsOf(
            desk,
            "SELECT services.serial, services.result, services.duration, number, steps.duration, identifier "
            "FROM services JOIN steps ON steps.service = services.service "
            "LEFT JOIN taken ON taken.service = services.service ORDER BY services.serial, number"),
        "A|success|8|1|7|id0\nA|success|8|2|0|id0\nB|success|31|1|10|\nB|success|31|2|20|\n");
    ledger.begin(beginning(QStringLiteral("C")));
    EXPECT_EQ(errorOf([&] { mergeLedger(m_ledger, older); }), "");
    mergeLedger(m_ledger, desk); // knows less of what is its own
    EXPECT_EQ(rowsOf(m_ledger, kStates), "A|success\nB|success\nC|under way\n");
    EXPECT_EQ(LedgerReader(m_ledger).boards({}).at(2).result, QStringLiteral("under way"));
}

TEST_F(LedgerWriterTest, MergesAllOrNothing)
{
    QString const other = path("other.db");
    for (char const* const serial : {"A", "B"})
        serve(*std::make_unique<LedgerWriter>(other), QLatin1String(serial));
    LedgerDatabase(other, LedgerDatabase::Access::Write)
        .run(QStringLiteral("UPDATE steps SET number = number WHERE 1 = 1"));
    QString const desk = path("desk.db");
    serve(*std::make_unique<LedgerWriter>(desk), QStringLiteral("C"));
    {
        LedgerDatabase const broken(other, LedgerDatabase::Access::Write);
        broken.run(QStringLiteral("PRAGMA foreign_keys = OFF"));
        broken.run(QStringLiteral("INSERT INTO inputs VALUES ('no service', 'fw.bin', 1, '')"));
    }
    EXPECT_NE(errorOf([&] { mergeLedger(desk, other); }), "");
    EXPECT_EQ(rowsOf(desk, kStates), "C|success\n");
}

TEST(InputFilesTest, ReadsAFileOnceUntilItChanges)
{
    auto pattern = (std::filesystem::temp_directory_path() / "vrel-inputs-XXXXXX").string();
    std::filesystem::path const directory = ::mkdtemp(pattern.data());
    std::string const file = (directory / "fw.bin").string();
    constexpr std::uintmax_t kSize = 8 << 20;
    std::ofstream(file) << "abc";
    std::filesystem::resize_file(file, kSize);
    auto const bytesRead = [] {
        std::ifstream stream("/proc/self/io");
        std::string word;
        std::uintmax_t bytes = 0;
        stream >> word >> bytes;
        return bytes;
    };
    InputFiles inputs;
    QString const name = QString::fromStdString(file);
    auto const before = bytesRead();
    std::vector<std::thread> boards;
    for (int i = 0; i < 8; ++i)
        boards.emplace_back([&] { EXPECT_EQ(inputs.describe(name)->size, qint64{kSize}); });
    for (std::thread& board : boards)
        board.join();
    EXPECT_LT(bytesRead() - before, 2 * kSize);
    QString const old = inputs.describe(name)->sha256;
    std::ofstream(file) << "abc";
    EXPECT_EQ(inputs.describe(name)->sha256,
              QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_NE(inputs.describe(name)->sha256, old);
    EXPECT_FALSE(inputs.describe(QString::fromStdString(directory.string())));
    EXPECT_FALSE(inputs.describe(name + QStringLiteral(".none")));
    std::filesystem::remove_all(directory);
}

} // namespace
