#include "tests/runs/ToolFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <chrono>
#include <random>
#include <thread>

namespace {

/** A command that writes, and what has to be run before it on a new rig. */
struct Writer
{
    char const* name;
    char const* request;
    char const* before = nullptr;

    friend std::ostream& operator<<(std::ostream& stream, Writer const& writer)
    {
        return stream << writer.name;
    }
};

Writer const kWriters[] = {
    {"writetoken", R"({"command":"writetoken","fw_rux":"fw.bin","token":"new.bin","slot":3})",
     R"({"command":"writetoken","fw_rux":"fw.bin","token":"old.bin","slot":3})"},
    {"erasetoken", R"({"command":"erasetoken","fw_rux":"fw.bin","slot":3})",
     R"({"command":"writetoken","fw_rux":"fw.bin","token":"old.bin","slot":3})"},
    {"readtoken", R"({"command":"readtoken","fw_rux":"fw.bin","path":"target","slot":3})",
     R"({"command":"writetoken","fw_rux":"fw.bin","token":"old.bin","slot":3})"},
    {"fwrec", R"({"command":"fwrec","fw_rux":"fw.bin","ifp-path":"ifp.bin"})"},
    {"downloadfwos", R"({"command":"downloadfwos","fw_rux":"fw.bin","fw_image":"new.bin","flags":9})",
     R"({"command":"downloadfwos","fw_rux":"fw.bin","fw_image":"old.bin"})"},
    {"startover", R"({"command":"startover","flags":1})"},
    {"downloadoemkeymanifest", R"({"command":"downloadoemkeymanifest","fw_rux":"fw.bin","key":"new.bin"})",
     R"({"command":"downloadoemkeymanifest","fw_rux":"fw.bin","key":"old.bin"})"},
    {"oemifpprovision", R"({"command":"oemifpprovision","fw_rux":"fw.bin","token":"new.bin"})",
     R"({"command":"oemifpprovision","fw_rux":"fw.bin","token":"old.bin"})"},
    {"setcapabilities", R"({"command":"setcapabilities","fw_rux":"fw.bin","capabilities":"new.bin"})"},
    {"clearrpmb", R"({"command":"clearrpmb","fw_rux":"fw.bin","device":"emmc","idx":0})"},
    {"configpart", R"({"command":"configpart","fw_rux":"fw.bin","path":"parts.xml","device":"emmc"})"},
    {"readbootmedia",
     R"({"command":"readbootmedia","fw_rux":"fw.bin","path":"target","device":"emmc","idx":0,"start":0,"blocks":1024,"part":0})"},
    {"getcardinfo", R"({"command":"getcardinfo","fw_rux":"fw.bin","path":"target","device":"emmc","idx":0})"},
};

class KilledWriterTest : public ToolFixture, public ::testing::WithParamInterface<Writer>
{
protected:
    KilledWriterTest()
    {
        write("old.bin", QByteArray(300000, 'o'));
        write("new.bin", QByteArray(700000, 'n'));
        write("target", QByteArray(400000, 't'));
        write("parts.xml", R"(<partitions><partition name="a" size="512"/></partitions>)");
    }

    void succeeds(char const* request)
    {
        Outcome const outcome = runRequest(QString::fromUtf8(request), {});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.log.toStdString();
    }

    /** All files that mean something: of the rig but for what is being written, and the target. */
    Files files() const
    {
        Files files = rig();
        for (auto file = files.begin(); file != files.end();)
            file = file->first.startsWith(path("rig/.tmp/")) ? files.erase(file) : std::next(file);
        files[path("target")] = read("target");
        return files;
    }

    static bool has(Files const& files, QString const& name, QByteArray const& content)
    {
        auto const file = files.find(name);
        return file != files.end() && file->second == content;
    }

    static void restore(Files const& before, Files const& now)
    {
        for (auto const& entry : now) {
            if (before.count(entry.first) == 0)
                QFile::remove(entry.first);
        }
        for (auto const& [name, content] : before) {
            QFile file(name);
            if (!has(now, name, content)) {
                ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
                file.write(content);
            }
        }
    }

    /** Starts the command and waits for the line with which its operation begins. */
    void begin(QProcess& process) const
    {
        start(process, VREL_HOST_TOOL,
              {QStringLiteral("run"), QString::fromUtf8(GetParam().request), QStringLiteral("--sn"),
               QString::fromUtf8(kFirst)});
        process.setReadChannel(QProcess::StandardError);
        while (!process.peek(4096).contains("Starting ") && process.waitForReadyRead(60000)) {
        }
    }

    qint64 nanosecondsOfOperation() const
    {
        QProcess process;
        begin(process);
        QElapsedTimer timer;
        timer.start();
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), 0);
        return timer.nsecsElapsed();
    }

    /** @return whether the kill came before the process's end */
    bool isKilledAfter(std::chrono::nanoseconds time) const
    {
        QProcess process;
        begin(process);
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
        for (auto const& [name, content] : now)
            EXPECT_TRUE(has(before, name, content) || has(after, name, content))
                << name.toStdString() << ", " << content.size() << " bytes";
        // What a record tells of is there; without a record a file alone is old or new.
        for (auto const& [name, content] : after) {
            if (name.endsWith(QLatin1String(".json")) && !has(before, name, content))
                expectAllOf(has(now, name, content) ? after : before, now);
        }
        for (auto const& entry : before)
            EXPECT_TRUE(now.count(entry.first) == 1 || after.count(entry.first) == 0)
                << entry.first.toStdString() << " is lost";
    }
};

TEST_P(KilledWriterTest, LeavesFilesWholeAndTheNextProcessStartsClean)
{
    constexpr int kRounds = 30;
    constexpr qint64 kBudget = 1500;
    char const* const enumerate = R"({"command":"enumerate"})";
    succeeds(GetParam().before != nullptr ? GetParam().before : enumerate);
    Files const before = files();
    auto const duration = static_cast<std::uint64_t>(nanosecondsOfOperation());
    Files const after = files();
    ASSERT_NE(before, after);

    std::mt19937_64 random(std::random_device{}());
    int killed = 0;
    Files now = after;
    QElapsedTimer timer;
    timer.start();
    // On a busy machine the time may be over before any kill was early enough.
    auto const isDue = [&] { return timer.elapsed() < kBudget || killed == 0; };
    for (int round = 0; round < kRounds && isDue() && !HasFailure(); ++round) {
        restore(before, now);
        killed += isKilledAfter(std::chrono::nanoseconds(random() % duration)) ? 1 : 0;
        now = files();
        expectOldOrNew(before, after, now);
        succeeds(enumerate);
        EXPECT_TRUE(QDir(path("rig/.tmp")).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }
    EXPECT_GT(killed, 0);
    RecordProperty("killed", killed);
}

INSTANTIATE_TEST_SUITE_P(All, KilledWriterTest, ::testing::ValuesIn(kWriters),
                         [](auto const& writer) { return std::string(writer.param.name); });

} // namespace
