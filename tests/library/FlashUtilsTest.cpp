#include "commands/VrelFlashUtils.h"
#include "plugin/VrelManager.h"
#include "tests/support/ArgumentCollector.h"
#include "tests/support/FakeVendor.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Request.h"

#include <gmock/gmock.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>

#include <csignal>

namespace {

using ::testing::UnorderedElementsAre;

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
    EXPECT_FALSE(utils.run(manager.fetchApi(), QString::fromLatin1("ab1\0c", 5), log));
    EXPECT_EQ(recorder.lines(), Lines{"1 Invalid serial number: it has a NUL"});
    recorder.clear();
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

    bool run(QString const& exe, unsigned long long timeout = 20000)
    {
        return m_utils.run(exe, QStringLiteral("ab1"), m_log, timeout);
    }

    /** What was logged behind the line that tells the command. */
    Lines output() const
    {
        Lines lines = m_recorder.lines();
        if (!lines.empty())
            lines.erase(lines.begin());
        return lines;
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
    EXPECT_TRUE(run(exe, 0xFFFFFFFF));
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
               "printf '%s\\n' '{\"level\":0,\"text\":\"least\"}' '{\"level\":5,\"text\":\"most\"}'\n"
               "printf '%s\\n' '{\"level\":6,\"text\":\"\"}' '42%{\"level\":4,\"text\":\"behind "
               "{\\\"level\\\":0} {\"}'\n"
               "echo oops >&2");
    EXPECT_TRUE(run(exe));
    EXPECT_THAT(output(),
                UnorderedElementsAre("1 a\nb", "3 L: |7", "3 {\"level\":1}", "3 {\"level\":6,\"text\":\"\"}",
                                     "0 least", "5 most", "3 42%", "4 behind {\"level\":0} {", "2 oops"));
}

TEST_F(ExeRunTest, ArgumentsAreUtf8WhateverCodecTheHostHasSet)
{
    VrelFlashUtils utils(
        json("{\"command\": \"erasetoken\", \"slot\": 1, \"fw_rux\": \"\xC3\xBC\xE2\x82\xAC\"}"));
    QString const exe = script("[ \"$4\" = \"$(printf '\\303\\274\\342\\202\\254')\" ]");
    QTextCodec* const codec = QTextCodec::codecForLocale();
    for (char const* const name : {"UTF-8", "ISO-8859-15", "windows-1252"}) {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
        EXPECT_TRUE(utils.run(exe, QString(), m_log, 20000)) << name;
    }
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("GB18030"));
    m_recorder.clear();
    EXPECT_FALSE(utils.run(exe, QString(), m_log, 20000));
    QTextCodec::setCodecForLocale(codec);
    EXPECT_EQ(output().front().rfind("1 Cannot pass ", 0), 0U);
}

TEST_F(ExeRunTest, FailuresAreFalse)
{
    struct
    {
        char const* body;
        unsigned long long timeout; ///< its low bits are the limit
        Lines expected;
    } const cases[] = {
        {"printf half; exit 3", 20000, {"3 half", "2 Process ended with exit code 3"}},
        {"kill -KILL $$", 20000, {"2 Process was ended by a signal"}},
        {"exec sleep 100", 0x700000000ULL + 500, {"2 Process was ended by a signal"}},
    };
    for (auto const& [body, timeout, expected] : cases) {
        m_recorder.clear();
        EXPECT_FALSE(run(script(body), timeout)) << body;
        EXPECT_EQ(output(), expected) << body;
    }
    m_recorder.clear();
    QString const exe = script("exit 0");
    EXPECT_FALSE(m_utils.run(exe, QString(QChar(0)), m_log, 20000));
    ::signal(SIGCHLD, SIG_IGN);
    EXPECT_FALSE(run(exe));
    ::signal(SIGCHLD, SIG_DFL);
    Lines const lines = m_recorder.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines.front(), "1 Invalid serial number: it has a NUL");
    EXPECT_EQ(lines.back().rfind("1 The exit status is lost: ", 0), 0U);
    m_recorder.clear();
    EXPECT_FALSE(run(exe + QStringLiteral("-missing")));
    EXPECT_FALSE(run(m_directory.path()));
    EXPECT_FALSE(VrelFlashUtils().run(exe, QString(), m_log, 20000));
    QFile::setPermissions(exe, QFileDevice::ReadOwner);
    EXPECT_FALSE(run(exe));
    EXPECT_EQ(m_recorder.lines(), Lines()) << "nothing was to be run, nothing to be said";
}

TEST_F(ExeRunTest, OverlongLinesAreCutBetweenCharacters)
{
    EXPECT_TRUE(run(script("yes \xE2\x82\xAC | head -n 400000 | tr -d '\\n'; echo")));
    QString text;
    for (std::string const& line : output()) {
        EXPECT_LE(line.size(), 1024U * 1024U + 2);
        text += QString::fromStdString(line.substr(2));
    }
    EXPECT_EQ(text, QString(400000, QChar(0x20AC)));
}

/** What a caller's own way of running gets. */
TEST_F(ExeRunTest, CommonRunUsesTheCallersProcessAndStrategy)
{
    ArgumentCollector strategy;
    QProcess process;
    m_utils.commonRun(process, m_directory.path(), QString(), m_log, strategy, 5);
    EXPECT_EQ(strategy.process, nullptr);
    QString const exe = script("exit 0");
    m_utils.commonRun(process, exe, QString(), m_log, strategy, 0x100000005ULL);
    EXPECT_EQ(strategy.process, &process);
    EXPECT_EQ(strategy.exe, exe);
    EXPECT_EQ(strategy.timeout, 0x100000005ULL);
    EXPECT_EQ(strategy.arguments.join(QLatin1Char(' ')),
              QStringLiteral("--command erasetoken --fw_rux fw.bin --slot 1"));
}

} // namespace
