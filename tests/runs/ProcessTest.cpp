#include "tests/runs/ToolFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>

#include <csignal>

namespace {

/** The tools as processes: who ends them, whom they end, and what others do to their log. */
class ProcessTest : public ToolFixture
{
protected:
    /** The host tool on the other vendor library, which does something beside its work. */
    Outcome withDeed(char const* deed, QStringList const& arguments)
    {
        m_environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(VREL_OTHER_API_DIR));
        m_environment.insert(QStringLiteral("FAKE_VENDOR"),
                             QStringLiteral("device 1-1 FIRST\ndevice 1-2 SECOND"));
        m_environment.insert(QStringLiteral("FAKE_DEED"), QString::fromUtf8(deed));
        return host(options({"run"}) + QStringList(kErase) + arguments);
    }

    QString script(char const* content) const
    {
        write("script", QByteArray("#!/bin/sh\n") + content + '\n');
        QFile::setPermissions(path("script"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        return path("script");
    }

    /** Whether the process, whose number a script has written, is still there. */
    bool isThere(char const* file) const
    {
        auto const pid = static_cast<pid_t>(read(file).trimmed().toLongLong());
        EXPECT_GT(pid, 0) << file;
        return pid > 0 && ::kill(pid, 0) == 0;
    }
};

TEST_F(ProcessTest, ALibraryThatEndsTheProcessIsNoSuccess)
{
    for (char const* const deed : {"exit on acquire", "exit", "exit on a thread", "quick_exit"}) {
        for (QStringList const& how :
             {QStringList(), options({"--exe", VREL_DOWNLOADER}), options({"--sn", "FIRST", "--json"})}) {
            Outcome const outcome = withDeed(deed, how);
            EXPECT_EQ(outcome.exitCode, 1) << deed;
            QString const errors =
                outcome.lines().filter(QRegularExpression(QStringLiteral("^1 "))).join(QChar());
            EXPECT_EQ(
                errors.count(QLatin1String("1 The vendor library or another one ended the process by ")), 1)
                << deed << ": " << outcome.log.toStdString();
        }
    }
    Outcome const ofAChild = withDeed("exit of a child", {});
    EXPECT_EQ(ofAChild.exitCode, 0);
    EXPECT_FALSE(ofAChild.log.contains("ended the process")) << ofAChild.log.toStdString();
}

TEST_F(ProcessTest, WhatOthersWriteIsNoOtherLine)
{
    EXPECT_TRUE(withDeed("warning of Qt", {}).lines().contains(QStringLiteral("2 of Qt")));
    QStringList const outside = withDeed("raw output", options({"--exe", VREL_DOWNLOADER})).lines();
    int const raw = outside.indexOf(QStringLiteral("3 \r42%"));
    EXPECT_EQ(outside.value(raw + 1), QStringLiteral("3 eraseToken \"fw.bin\" 3 \"\""));

    // Lines of an operation that is over still find their handler, while the next device is served.
    QByteArray const late = withDeed("late lines", options({"--all", "--jobs", "1"})).log;
    EXPECT_GT(late.lastIndexOf(R"("path":"1-1","prefix":"1-1 FIRST","serial":"FIRST","text":"late")"),
              late.indexOf(R"("path":"1-2","prefix":"1-2 SECOND","serial":"SECOND","text":"Starting)"))
        << late.data();

    // Two names with one label, which a line end would make one of another device.
    QString const exe = script("[ \"$4\" = 'a b: x' ] && text=blank || text='line end'\n"
                               R"(echo "{\"level\":1,\"text\":\"$text\"}"; exit 1)");
    Outcome const equal =
        execute(VREL_HOST_TOOL, options({"run"}) + QStringList(kErase) +
                                    options({"--sn", "a\nb: x", "--sn", "a b: x", "--json"}) +
                                    (options({"--exe"}) << exe));
    EXPECT_GT(equal.output.indexOf("\"line end\""), equal.output.indexOf(R"("a\nb: x")"))
        << equal.output.data();
    EXPECT_GT(equal.output.indexOf("\"blank\""), equal.output.indexOf(R"("a b: x")")) << equal.output.data();
    EXPECT_FALSE(equal.log.contains("\nb: x")) << equal.log.data();
}

TEST_F(ProcessTest, ASignalEndsWhatIsRunInEveryForm)
{
    struct Case
    {
        char const* name;
        QStringList arguments;
        bool isOutside;
        int signal;
        int exitCode;
        char const* lastLine;
    };
    ASSERT_EQ(host(options({"scan"})).exitCode, 0); // makes the rig
    QString const exe = script("sleep 1000 & echo $! >child; echo $$ >pid; wait");
    QStringList const run = QStringList(QStringLiteral("run")) << kWrite;
    char const* const ended = "1 The downloader was ended: the run was interrupted";
    Case const cases[] = {
        {"plain", run + (options({"--exe"}) << exe), true, SIGINT, 1, ended},
        {"many", run + (options({"--sn", kFirst, "--json", "--exe"}) << exe), true, SIGTERM, 1, ended},
        {"scan", options({"scan", "--sysfs", "rig/sysfs", "--serial-from", "exe", "--exe"}) << exe, true,
         SIGHUP, 1, "1 The downloader was ended: the scan was interrupted"},
        {"plain, in-process", run + options({"--sn", kFirst}), false, SIGINT, 0,
         "3 WRITE TOKEN procedure success"},
        {"many, in-process", run + options({"--sn", kFirst, "--json"}), false, SIGHUP, 0,
         "3 WRITE TOKEN procedure success"},
    };
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("1500"));
    for (Case const& entry : cases) {
        for (char const* const file : {"pid", "child"})
            QFile::remove(path(file));
        QElapsedTimer timer;
        timer.start();
        QProcess process;
        // As a script leaves them to what it runs in the background, and worse.
        start(process, "env",
              options({"--ignore-signal=INT,QUIT,CHLD", "--block-signal=INT,TERM,HUP,CHLD", VREL_HOST_TOOL,
                       "--log-format", "json"}) +
                  entry.arguments);
        QByteArray log;
        auto const isBegun = [&] {
            return entry.isOutside ? !read("pid").trimmed().isEmpty() : log.contains("Starting");
        };
        process.setReadChannel(QProcess::StandardError);
        while (!isBegun() && timer.elapsed() < 20000) {
            process.waitForReadyRead(20);
            log += process.readAllStandardError();
        }
        ::kill(static_cast<pid_t>(process.processId()), entry.signal);
        EXPECT_TRUE(process.waitForFinished(20000)) << entry.name;
        EXPECT_LT(timer.elapsed(), 20000) << entry.name;
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << entry.name;
        Outcome const outcome{process.exitCode(), {}, log + process.readAllStandardError()};
        EXPECT_EQ(outcome.exitCode, entry.exitCode) << entry.name;
        EXPECT_EQ(outcome.lines().last().toStdString(), entry.lastLine) << entry.name;
        EXPECT_FALSE(entry.isOutside && (isThere("pid") || isThere("child"))) << entry.name;
    }
}

TEST_F(ProcessTest, ATimeOutEndsTheGroupAndAHangUpThatIsIgnoredNothing)
{
    QString const exe = script("sleep 1000 & echo $! >child; echo $$ >pid; kill -HUP $PPID; sleep 1; wait");
    Outcome const outcome =
        execute("env", options({"--ignore-signal=HUP", VREL_HOST_TOOL, "run"}) + QStringList(kErase) +
                           options({"--timeout", "2000", "--exe"}) + QStringList(exe));
    EXPECT_TRUE(outcome.log.contains("did not finish within 2000 ms")) << outcome.log.toStdString();
    EXPECT_FALSE(isThere("pid") || isThere("child"));
}

} // namespace
