#include "commands/VrelFlashUtils.h"
#include "plugin/VrelManager.h"
#include "tests/support/FakeVendor.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Request.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/resource.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

constexpr char const* kErase = R"({"command": "erasetoken", "slot": 1, "fw_rux": "fw.bin"})";

TEST(FlashUtilsTest, RejectsRequestsAndKeepsTheHeldCommand)
{
    LogRecorder recorder;
    LogHandler log;
    VrelFlashUtils utils;
    EXPECT_EQ(utils.getCommandId(), QStringLiteral("null"));
    EXPECT_TRUE(utils.getParameters().empty());
    EXPECT_TRUE(utils.parseArguments(json(kErase), log));

    std::pair<char const*, Lines> const cases[] = {
        {R"({"command": 7})", {"1 Invalid command parameter value"}},
        {R"({"Command": "fwrec"})", {"1 Missing command parameter"}},
        {R"({"command": ""})", {"1 Invalid empty command parameter"}},
        {R"({"command": "FWREC"})", {"1 Unknown command 'FWREC'"}},
        {R"({"command": "setdevicelifecyclestage"})", {"1 Unknown command 'setdevicelifecyclestage'"}},
        {R"({"command": "erasetoken", "fw_rux": ""})",
         {"1 Empty value for fw_rux parameter", "1 Missing value for slot parameter"}},
    };
    for (auto const& [request, expected] : cases) {
        recorder.clear();
        EXPECT_FALSE(utils.parseArguments(json(request), log)) << request;
        EXPECT_EQ(recorder.lines(), expected) << request;
    }
    EXPECT_EQ(text(utils.getParameters()), R"({"command":"erasetoken","fw_rux":"fw.bin","slot":1})");
    EXPECT_EQ(VrelFlashUtils(json(R"({"command": ""})")).getCommandId(), QStringLiteral("null"));
    EXPECT_EQ(VrelFlashUtils(json(kErase)).getCommandId(), QStringLiteral("erasetoken"));
}

TEST(FlashUtilsTest, TypesAndCopiesNeedAKnownCommand)
{
    for (char const* const request : {R"({})", R"({"command": 7})", R"({"command": ""})",
                                      R"({"command": "x"})", R"({"command": "enumerate"})"}) {
        QString error = QStringLiteral("kept");
        EXPECT_TRUE(VrelFlashUtils::getParameterTypes(json(request)).empty()) << request;
        EXPECT_TRUE(VrelFlashUtils::getParameters(json(request), error).empty()) << request;
        EXPECT_EQ(error, QStringLiteral("kept"));
    }
    EXPECT_EQ(text(VrelFlashUtils::getParameterTypes(json(kErase))),
              R"({"command":["erasetoken"],"fw_rux":"file","slot":"uint8_t"})");
}

TEST(FlashUtilsTest, InProcessRunNamesTheDeviceInCapitalsAndHandsItOnUnchanged)
{
    FakeVendor vendor;
    VrelManager manager;
    LogHandler log;
    VrelFlashUtils utils(json(kErase));
    LogRecorder recorder;
    QString const serial = QStringLiteral("ab1\u00FC");
    EXPECT_FALSE(VrelFlashUtils().run(manager.fetchApi(), serial, log));
    EXPECT_FALSE(utils.run(VrelApiManager(), serial, log));
    EXPECT_EQ(recorder.lines(), Lines());
    EXPECT_TRUE(utils.run(manager.fetchApi(), serial, log));
    EXPECT_EQ(recorder.lines().front(), "4 Running command 'erasetoken' on AB1\xC3\x9C");
    EXPECT_EQ(vendor.calls, std::vector<std::string>{"eraseToken \"fw.bin\" 1 \"ab1\xC3\xBC\""});
}

/** Runs small shell scripts in place of the downloader. */
class ExeRunTest : public ::testing::Test
{
protected:
    QString script(char const* body) const
    {
        QString const path = m_directory.filePath(QStringLiteral("downloader"));
        QFile::remove(path);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\ncd '" + m_directory.path().toUtf8() + "'\n" + body + "\n");
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        return path;
    }

    bool run(QString const& exe, int timeout, char const* serial = "")
    {
        return m_utils.run(exe, QString::fromUtf8(serial), m_log, static_cast<unsigned long long>(timeout));
    }

    QTemporaryDir m_directory;
    VrelFlashUtils m_utils{json(kErase)};
    LogHandler m_log;
    LogRecorder m_recorder;
};

TEST_F(ExeRunTest, PassesTheCommandLineAndLogsOutputAsItComes)
{
    // The script ends well only if its first line is logged while it still runs.
    LogSink const record = setLogSink({});
    setLogSink([&record, this](LogLine const& line) {
        record(line);
        if (line.text == QLatin1String("go on"))
            QFile(m_directory.filePath(QStringLiteral("seen"))).open(QIODevice::WriteOnly);
    });
    QString const exe = script("echo 'go on'; i=0\n"
                               "while [ ! -e seen ] && [ $i -lt 50 ]; do sleep 0.1; i=$((i+1)); done\n"
                               "printf '[%s]' \"$@\"; printf '\\r\\nlast'; [ -e seen ]");
    m_log.setName(QStringLiteral("whose run it is"));
    EXPECT_TRUE(run(exe, -1, "ab1"));
    setLogSink(record);
    EXPECT_EQ(m_recorder.records().back().name, QStringLiteral("whose run it is"));
    EXPECT_EQ(
        m_recorder.lines(),
        (Lines{"4 Running ruxFwDownloader --command erasetoken --sn ab1 --fw_rux fw.bin --slot 1", "3 go on",
               "3 [--command][erasetoken][--sn][ab1][--fw_rux][fw.bin][--slot][1]", "3 last"}));
}

TEST_F(ExeRunTest, KeepsLevelsLabelsAndLinesOfADownloaderThatWritesJson)
{
    QString const exe =
        script("[ \"$VREL_LOG_FORMAT\" = json ] || exit 9\n"
               "printf '%s\\n' '{\"level\":1,\"name\":\"n\",\"prefix\":\"\",\"text\":\"a\\nb\"}'\n"
               "printf '%s\\n' '{\"level\":3,\"label\":\"L: \",\"value\":\"7\"}' '{\"level\":1}'\n"
               "printf '%s\\n' '42%{\"level\":4,\"text\":\"behind {\\\"level\\\":0} {\"}'\n"
               "echo oops >&2");
    EXPECT_TRUE(run(exe, 10000));
    Lines lines = m_recorder.lines();
    lines.erase(lines.begin());
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines,
              (Lines{"1 a\nb", "2 oops", "3 42%", "3 L: |7", "3 {\"level\":1}", "4 behind {\"level\":0} {"}));
}

TEST_F(ExeRunTest, FailuresAreFalse)
{
    std::pair<char const*, Lines> const cases[] = {
        {"exit 3", {"2 Process ended with exit code 3"}},
        {"kill -KILL $$", {"2 Process was ended by a signal"}},
    };
    for (auto const& [body, expected] : cases) {
        m_recorder.clear();
        EXPECT_FALSE(run(script(body), 10000)) << body;
        Lines lines = m_recorder.lines();
        ASSERT_FALSE(lines.empty());
        lines.erase(lines.begin());
        EXPECT_EQ(lines, expected) << body;
    }
    m_recorder.clear();
    QString const exe = script("exit 0");
    EXPECT_FALSE(run(exe + QStringLiteral("-missing"), 10000));
    EXPECT_FALSE(run(m_directory.path(), 10000));
    QFile::setPermissions(exe, QFileDevice::ReadOwner);
    EXPECT_FALSE(run(exe, 10000));
    EXPECT_FALSE(VrelFlashUtils().run(script("exit 0"), QString(), m_log, 10000));
    EXPECT_EQ(m_recorder.lines(), Lines()) << "nothing was to be run, nothing to be said";
}

TEST_F(ExeRunTest, TheLowBitsOfTheTimeoutAreItsLimit)
{
    for (unsigned const timeout : {0U, 500U})
        EXPECT_FALSE(m_utils.run(script("exec sleep 100"), QString(), m_log, 0x700000000ULL + timeout));
}

TEST_F(ExeRunTest, FloodWithoutLineEndsKeepsMemoryFlat)
{
    auto const peakKib = [] {
        rusage usage = {};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    std::size_t bytes = 0;
    setLogSink([&bytes](LogLine const& line) { bytes += static_cast<std::size_t>(line.text.size()); });
    // A sanitizer holds freed memory back and slows the flood down: there only the output is checked.
    std::size_t const flood = kIsSanitized ? 64U << 20U : 1U << 30U;
    std::string const body = "head -c " + std::to_string(flood) + " /dev/zero; exit 1";
    long const before = peakKib();
    EXPECT_FALSE(run(script(body.c_str()), 100000));
    if (!kIsSanitized) {
        EXPECT_LT(peakKib() - before, 64 * 1024);
    }
    EXPECT_GE(bytes, flood) << "output was lost";
}

TEST_F(ExeRunTest, OverlongLinesAreCutBetweenCharacters)
{
    EXPECT_TRUE(run(script("printf x; yes \xE2\x82\xAC | head -n 400000 | tr -d '\\n'; echo"), 20000));
    QString text;
    auto const records = m_recorder.records();
    for (std::size_t i = 1; i < records.size(); ++i) {
        EXPECT_LE(records[i].text.toUtf8().size(), 1024 * 1024);
        text += records[i].text;
    }
    EXPECT_EQ(text, QLatin1Char('x') + QString(400000, QChar(0x20AC)));
}

TEST_F(ExeRunTest, CommonRunUsesTheCallersProcessAndStrategy)
{
    class Strategy : public VrelFlashUtils::ExeRunner
    {
    public:
        void run(QProcess& process, QString const& exe, QStringList const& args,
                 unsigned long long timeout) override
        {
            seen = QStringList{exe, QString::number(timeout)} + args;
            success = process.state() == QProcess::NotRunning;
        }
        QStringList seen;
    };
    QProcess process;
    Strategy strategy;
    m_utils.commonRun(process, m_directory.path(), QString(), m_log, strategy, 5);
    EXPECT_FALSE(strategy.success);
    EXPECT_TRUE(strategy.seen.isEmpty());
    QString const exe = script("exit 0");
    m_utils.commonRun(process, exe, QString(), m_log, strategy, 0x100000005ULL);
    EXPECT_TRUE(strategy.success);
    EXPECT_EQ(strategy.seen,
              (QStringList{exe, QStringLiteral("4294967301"), QStringLiteral("--command"),
                           QStringLiteral("erasetoken"), QStringLiteral("--fw_rux"), QStringLiteral("fw.bin"),
                           QStringLiteral("--slot"), QStringLiteral("1")}));
}

} // namespace
