#include "tests/runs/ToolFixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <sys/types.h>

namespace {

/** Runs on several devices that are broken off. */
class InterruptionTest : public ToolFixture
{
protected:
    InterruptionTest() { EXPECT_EQ(host(options({"rig", "create", "rig", "--devices", "3"})).exitCode, 0); }

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

    write("downloader", "#!/bin/sh\necho started; exec sleep 1000\n");
    QFile::setPermissions(path("downloader"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(summary(interrupted(options({"--all", "--json", "--exe", "./downloader"}), "started", SIGTERM)),
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

} // namespace
