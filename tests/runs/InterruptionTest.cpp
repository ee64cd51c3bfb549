#include "tests/runs/ToolFixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <sys/types.h>

namespace {

/** Runs that a signal breaks off. */
class InterruptionTest : public ToolFixture
{
protected:
    InterruptionTest() { EXPECT_EQ(host(options({"rig", "create", "rig", "--devices", "3"})).exitCode, 0); }

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

    /** Starts a run and waits until its log holds `mark`; gives the log so far. */
    QByteArray startRun(QProcess& process, QStringList const& arguments, char const* mark) const
    {
        start(process, VREL_HOST_TOOL,
              options({"--log-format", "json", "run"}) + QStringList(kWrite) + arguments);
        process.setReadChannel(QProcess::StandardError);
        QByteArray log;
        while (!log.contains(mark) && process.waitForReadyRead(60000))
            log += process.readAllStandardError();
        EXPECT_GT(process.processId(), 0) << "already over: " << log.toStdString();
        return log;
    }

    static void send(QProcess const& process, int signal)
    {
        auto const pid = static_cast<pid_t>(process.processId());
        if (pid > 0)
            ::kill(pid, signal);
    }

    Outcome interrupted(QStringList const& arguments, char const* mark, int signal) const
    {
        QProcess process;
        QByteArray const log = startRun(process, arguments, mark);
        send(process, signal);
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        return {process.exitCode(), process.readAllStandardOutput(), log + process.readAllStandardError()};
    }

    /** "SERIAL RESULT ERROR" of every device. */
    static QStringList summary(Outcome const& outcome)
    {
        QStringList lines;
        for (auto const& entry : QJsonDocument::fromJson(outcome.output).array()) {
            QStringList fields;
            for (char const* const key : {"serial", "result", "error"})
                fields << entry.toObject()[QLatin1String(key)].toString();
            lines << fields.join(QLatin1Char(' '));
        }
        return lines;
    }
};

TEST_F(InterruptionTest, EndsWhatCanBeEndedAndStillTellsTheResults)
{
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("1500"));
    Outcome const inProcess = interrupted(options({"--all", "--jobs", "1", "--json"}), "Starting", SIGINT);
    EXPECT_EQ(inProcess.exitCode, 1);
    EXPECT_EQ(summary(inProcess), options({"VREL0001 success ", "VREL0002 not run ", "VREL0003 not run "}));
    EXPECT_EQ(inProcess.lines().last(),
              QStringLiteral("1 Interrupted: the request was not run on 2 of 3 devices"));

    QString const exe = script("echo started; exec sleep 1000");
    EXPECT_EQ(summary(interrupted(options({"--all", "--json", "--exe"}) << exe, "started", SIGTERM)),
              options({"VREL0001 failure The downloader was ended: the run was interrupted",
                       "VREL0002 not run ", "VREL0003 not run "}));
}

TEST_F(InterruptionTest, ALaterSignalDoesNotWaitButOneAtTheSameMomentIsTheSameRequest)
{
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("60000"));
    QProcess process;
    startRun(process, options({"--all"}), "Starting");
    QElapsedTimer timer;
    timer.start();
    send(process, SIGTERM);
    while (process.state() != QProcess::NotRunning && timer.elapsed() < 20000) {
        send(process, SIGINT);
        process.waitForFinished(100);
    }
    EXPECT_GE(timer.elapsed(), 400);
    EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(process.exitCode(), SIGINT);
}

TEST_F(InterruptionTest, EndsWhatIsRunInEveryForm)
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
    QString const exe = script("sleep 1000 & echo $! >child; echo $$ >pid; wait");
    QStringList const run = QStringList(QStringLiteral("run")) << kWrite;
    char const* const ended = "1 The downloader was ended: the run was interrupted";
    Case const cases[] = {
        {"plain", run + (options({"--exe"}) << exe), true, SIGINT, 1, ended},
        {"many", run + (options({"--sn", "VREL0001", "--json", "--exe"}) << exe), true, SIGTERM, 1, ended},
        {"scan", options({"scan", "--sysfs", "rig/sysfs", "--serial-from", "exe", "--exe"}) << exe, true,
         SIGHUP, 1, "1 The downloader was ended: the scan was interrupted"},
        {"plain, in-process", run + options({"--sn", "VREL0001"}), false, SIGINT, 0,
         "3 WRITE TOKEN procedure success"},
        {"many, in-process", run + options({"--sn", "VREL0001", "--json"}), false, SIGHUP, 0,
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

} // namespace
