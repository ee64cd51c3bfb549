#include "framework/LogLines.h"
#include "tests/support/CommandFile.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

namespace {

using Files = std::map<QString, QByteArray>;

void write(QString const& path, QByteArray const& content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
}

/** Runs a command's requests in a directory and on a rig of its own. */
class CommandRunTest : public ::testing::TestWithParam<CommandFile>
{
protected:
    CommandRunTest()
    {
        m_environment.insert(QStringLiteral("VREL_RIG"), path("rig"));
        writeInputs(m_directory.path());
    }

    QString path(char const* name) const { return m_directory.filePath(QLatin1String(name)); }

    void start(QProcess& process, std::string const& request, QStringList const& route = {}) const
    {
        process.setWorkingDirectory(m_directory.path());
        process.setProcessEnvironment(m_environment);
        process.start(QStringLiteral(VREL_HOST_TOOL),
                      QStringList{QStringLiteral("--log-format"), QStringLiteral("json"),
                                  QStringLiteral("run"), QString::fromStdString(request),
                                  QStringLiteral("--sn"), QString::fromUtf8(kSerial)} +
                          route);
    }

    int exitCode(std::string const& request, QStringList const& route, Lines& log) const
    {
        QProcess process;
        start(process, request, route);
        EXPECT_TRUE(process.waitForFinished(60000)) << request;
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.readAllStandardOutput(), QByteArray());
        for (QByteArray const& text : process.readAllStandardError().split('\n')) {
            auto const line = fromJson(text);
            if (line && !line->text.endsWith(QLatin1String("which does not exist"))) // names are made up
                log.push_back(shown(*line));
        }
        return process.exitCode();
    }

    QTemporaryDir m_directory;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};

/** On a vendor library that does as it is told. */
TEST_P(CommandRunTest, IsTheSameByBothRoutes)
{
    m_environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(VREL_OTHER_API_DIR));
    for (Rows const& rows : GetParam().requests) {
        if (rows.count("log") == 0 || rows.count("serial") != 0)
            continue;
        SCOPED_TRACE(rows.at("request"));
        auto const answers = rows.find("vendor");
        m_environment.insert(QStringLiteral("FAKE_VENDOR"),
                             answers == rows.end() ? QString() : QString::fromStdString(answers->second));
        Lines expected = linesOf(rows, "log");
        bool const isFailure = expected.back().rfind("1 ", 0) == 0;
        for (QStringList const& route :
             {QStringList(), {QStringLiteral("--exe"), QStringLiteral(VREL_DOWNLOADER)}}) {
            if (isFailure && !route.isEmpty())
                expected.emplace_back("2 Process ended with exit code 1");
            Lines lines;
            EXPECT_EQ(exitCode(rows.at("request"), route, lines), isFailure ? 1 : 0);
            EXPECT_EQ(asExpected(lines, expected), expected);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, CommandRunTest, ::testing::ValuesIn(commandFilesWith("arguments")),
                         [](auto const& file) { return file.param.name; });

class KilledWriterTest : public CommandRunTest
{
protected:
    KilledWriterTest()
    {
        write(path("old.bin"), QByteArray(300000, 'o'));
        write(path("new.bin"), QByteArray(700000, 'n'));
        write(path("target.bin"), QByteArray(400000, 't'));
        write(path("parts.xml"), R"(<partitions><partition name="a" size="512"/></partitions>)");
    }

    void succeeds(std::string const& request)
    {
        Lines log;
        ASSERT_EQ(exitCode(request, {}, log), 0) << ::testing::PrintToString(log);
    }

    /** All files that mean something: of the rig but for what is being written, and the target. */
    Files files() const
    {
        QStringList names{path("target.bin")};
        QDirIterator entries(path("rig"), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (entries.hasNext())
            names << entries.next();
        Files files;
        for (QString const& name : names) {
            QFile file(name);
            EXPECT_TRUE(file.open(QIODevice::ReadOnly));
            if (!name.startsWith(path("rig/.tmp/")))
                files[name] = file.readAll();
        }
        return files;
    }

    static bool has(Files const& files, Files::value_type const& entry)
    {
        auto const file = files.find(entry.first);
        return file != files.end() && file->second == entry.second;
    }

    static void restore(Files const& before, Files const& now)
    {
        for (auto const& entry : now) {
            if (before.count(entry.first) == 0)
                QFile::remove(entry.first);
        }
        for (auto const& entry : before) {
            if (!has(now, entry))
                write(entry.first, entry.second);
        }
    }

    /** Starts the command and waits for the line with which its operation begins. */
    void begin(QProcess& process, std::string const& request) const
    {
        start(process, request);
        process.setReadChannel(QProcess::StandardError);
        while (!process.peek(4096).contains("Starting ") && process.waitForReadyRead(60000)) {
        }
    }

    std::chrono::nanoseconds timeOfOperation(std::string const& request) const
    {
        QProcess process;
        begin(process, request);
        QElapsedTimer timer;
        timer.start();
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), 0);
        return std::chrono::nanoseconds(timer.nsecsElapsed());
    }

    /** @return whether the kill came before the process's end */
    bool isKilledAfter(std::chrono::nanoseconds time, std::string const& request) const
    {
        QProcess process;
        begin(process, request);
        std::this_thread::sleep_for(time);
        process.kill();
        EXPECT_TRUE(process.waitForFinished(60000));
        return process.exitStatus() == QProcess::CrashExit;
    }

    static void expectAllOf(Files const& expected, Files const& now)
    {
        for (auto const& entry : expected)
            EXPECT_EQ(now.count(entry.first), 1U) << entry.first.toStdString() << " is missing";
    }

    static void expectOldOrNew(Files const& before, Files const& after, Files const& now)
    {
        for (auto const& entry : now)
            EXPECT_TRUE(has(before, entry) || has(after, entry))
                << entry.first.toStdString() << ", " << entry.second.size() << " bytes";
        // What a record tells of is there; without a record a file alone is old or new.
        for (auto const& entry : after) {
            if (entry.first.endsWith(QLatin1String(".json")) && !has(before, entry))
                expectAllOf(has(now, entry) ? after : before, now);
        }
        for (auto const& entry : before)
            EXPECT_TRUE(now.count(entry.first) == 1 || after.count(entry.first) == 0)
                << entry.first.toStdString() << " is lost";
    }
};

TEST_P(KilledWriterTest, LeavesFilesWholeAndTheNextProcessStartsClean)
{
    constexpr int kRounds = 10;
    constexpr int kMostRounds = 200;
    constexpr qint64 kBudget = 600;
    char const* const enumerate = R"({"command":"enumerate"})";
    auto const& requests = GetParam().requests;
    auto const rows = std::find_if(requests.begin(), requests.end(),
                                   [](Rows const& some) { return some.count("killed") != 0; });
    bool const isWriter = rows != requests.end();
    std::string const request = isWriter ? rows->at("request") : requests.front().at("request");
    succeeds(isWriter ? rows->at("killed") : enumerate);
    Files const before = files();
    Lines log;
    if (!isWriter) {
        bool const readsOnly = exitCode(request, {}, log) == 0 && files() == before;
        EXPECT_TRUE(readsOnly)
            << "add a request with a line \"killed\", as a command that writes needs, to tests/commands/"
            << GetParam().name << ".txt";
        return;
    }
    auto const duration = timeOfOperation(request);
    Files const after = files();
    ASSERT_NE(before, after);
    QString const target = path("target.bin");
    if (before.at(target) != after.at(target)) { // a file of which each device needs its own
        EXPECT_EQ(exitCode(request, {QStringLiteral("--sn"), QStringLiteral("5E6F7A8B")}, log), 2)
            << "add the file that " << GetParam().name
            << " writes to kWritten in tools/vrelhost/request/RequestRules.cpp";
    }

    std::mt19937_64 random(std::random_device{}());
    int killed = 0;
    Files now = after;
    QElapsedTimer timer;
    timer.start();
    // On a busy machine the time may be over before any kill was early enough.
    auto const isDue = [&](int round) {
        return killed == 0 ? round < kMostRounds : round < kRounds && timer.elapsed() < kBudget;
    };
    for (int round = 0; isDue(round) && !HasFailure(); ++round) {
        restore(before, now);
        killed += isKilledAfter(duration * (random() % 1000) / 1000, request) ? 1 : 0;
        now = files();
        expectOldOrNew(before, after, now);
        succeeds(enumerate);
        EXPECT_TRUE(QDir(path("rig/.tmp")).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }
    EXPECT_GT(killed, 0);
    RecordProperty("killed", killed);
}

INSTANTIATE_TEST_SUITE_P(Of, KilledWriterTest, ::testing::ValuesIn(commandFilesWith("arguments")),
                         [](auto const& file) { return file.param.name; });

} // namespace
