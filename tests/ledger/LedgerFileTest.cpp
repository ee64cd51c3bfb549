#include "tests/ledger/LedgerFixture.h"
#include "tools/vrelhost/ledger/LedgerMerge.h"
#include "tools/vrelhost/ledger/LedgerReader.h"

#include <fstream>
#include <sys/stat.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using LedgerFileTest = LedgerTest;

void write(QString const& file, std::string const& content)
{
    std::ofstream(file.toStdString(), std::ios::binary) << content;
}

/** What reading and each way of writing say of it. */
std::vector<std::string> errorsOf(QString const& file, QString const& other)
{
    return {errorOf([&] { LedgerReader(file).boards({}); }), errorOf([&] { LedgerWriter(file).makeReady(); }),
            errorOf([&] { mergeLedger(file, other); }), errorOf([&] { mergeLedger(other, file); })};
}

TEST_F(LedgerFileTest, LeavesWhatIsNoLedgerAsItIs)
{
    constexpr std::size_t kVersionPlace = 60;
    constexpr std::size_t kIdPlace = 68;
    constexpr std::size_t kPage = 4096;
    QString const other = path("other.db");
    serve(*std::make_unique<LedgerWriter>(other), QStringLiteral("A"));
    std::string const ledger = contentOf(other.toStdString());
    auto const patched = [&](std::size_t place, std::string const& bytes) {
        return std::string(ledger).replace(place, bytes.size(), bytes);
    };
    struct Row
    {
        std::string content;
        char const* error;
    };
    for (auto const& [content, error] : std::vector<Row>{
             {"some text\n", "is another kind of file"},
             {std::string(kPage, '\0'), "is another kind of file"},
             {patched(kIdPlace, "\x01"), "is another program's database"},
             {patched(kVersionPlace, std::string("\0\0\0\2", 4)), "has version 2"},
             {patched(kVersionPlace, std::string("\0\0\0\0", 4)), "has version 0"},
             {ledger.substr(0, kPage), "is damaged"},
             {patched(kPage, std::string(ledger.size() - kPage, '\x5A')), "is damaged"},
         }) {
        write(m_ledger, content);
        for (std::string const& text : errorsOf(m_ledger, other))
            EXPECT_THAT(text, testing::AllOf(StartsWith("refused: "), HasSubstr(error)));
        EXPECT_TRUE(contentOf(m_ledger.toStdString()) == content) << error;
    }
    EXPECT_EQ(rowsOf(other, "SELECT serial FROM services"), "A\n") << "what it was not merged with";
    for (std::string const& text : errorsOf(QString::fromStdString(m_directory.string()), other))
        EXPECT_THAT(text, HasSubstr("is a folder"));
    std::filesystem::remove(m_ledger.toStdString());
    ASSERT_EQ(::mkfifo(m_ledger.toLocal8Bit().constData(), S_IRWXU), 0);
    for (std::string const& text : errorsOf(m_ledger, other))
        EXPECT_THAT(text, HasSubstr("is not a regular file"));
}

TEST_F(LedgerFileTest, ReadsWhatAnotherProcessIsAboutToMoveFromItsLog)
{
    constexpr std::size_t kSizePlace = 28;
    constexpr int kPage = 4096;
    LedgerWriter writer(m_ledger);
    serve(writer, QString(2 * kPage, QLatin1Char('A')));
    // The first page is there already, with the new size, those that the file grows by are not.
    std::string file = contentOf(m_ledger.toStdString());
    write(path("copy.db"), file.replace(kSizePlace, 2, std::string("\1\1")));
    write(path("copy.db-wal"), contentOf(m_ledger.toStdString() + "-wal"));
    EXPECT_EQ(LedgerReader(path("copy.db")).boards({}).size(), 1U);
}

TEST_F(LedgerFileTest, MakesWhatIsMissingOrEmptyOnlyToWrite)
{
    QString const none = path("none/ledger.db");
    EXPECT_THAT(errorOf([&] { LedgerReader(m_ledger).boards({}); }), HasSubstr("unavailable: "));
    EXPECT_THAT(errorOf([&] { mergeLedger(path("new.db"), m_ledger); }), HasSubstr("No such file"));
    EXPECT_THAT(errorOf([&] { LedgerWriter(none).makeReady(); }), HasSubstr("unavailable: "));
    EXPECT_EQ(files(), "");
    write(m_ledger, "");
    EXPECT_THAT(errorOf([&] { LedgerReader(m_ledger).boards({}); }), HasSubstr("is empty"));
    EXPECT_EQ(files(), "ledger.db:\n");
    for (char const* const name : {"ledger.db", "new.db", "#1? 50%.db", ":memory:"}) {
        serve(*std::make_unique<LedgerWriter>(path(name)), QStringLiteral("A"));
        EXPECT_EQ(LedgerReader(path(name)).boards({}).size(), 1U) << name;
    }
}

/** A folder that may not be written, for one who is not its owner: root may write everywhere. */
TEST_F(LedgerFileTest, IsReadWhereNothingCanBeWritten)
{
    constexpr uid_t kNobody = 65534;
    int go[2];
    ASSERT_EQ(::pipe(go), 0);
    auto const readAll = [&] {
        char byte = 0;
        if (::read(go[0], &byte, 1) != 1 || (::geteuid() == 0 && ::setuid(kNobody) != 0))
            return -1;
        std::string const before = files();
        auto const boards = static_cast<int>(LedgerReader(m_ledger).boards({}).size());
        return files() == before ? boards : -1;
    };
    for (int i = 0; i < 2; ++i)
        runInChild(readAll); // before this process opens anything
    auto writer = std::make_unique<LedgerWriter>(m_ledger);
    serve(*writer, QStringLiteral("A"));
    ASSERT_EQ(::chmod(m_directory.c_str(), S_IRUSR | S_IXUSR | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH), 0);
    ASSERT_EQ(::write(go[1], "1", 1), 1);
    int const beside = waitForChild(-1);
    writer.reset();
    ASSERT_EQ(::write(go[1], "2", 1), 1);
    EXPECT_EQ(std::make_pair(beside, waitForChild(-1)), std::make_pair(1, 1));
    ASSERT_EQ(::chmod(m_directory.c_str(), S_IRWXU), 0);
}

} // namespace
