#include "tests/runs/ToolFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <filesystem>
#include <sys/types.h>

namespace {

QString const kReadEach = QStringLiteral(
    R"({"command": "readtoken", "fw_rux": "fw.bin", "path": "back-{serial}-{path}.bin", "slot": 3})");

class ManyRunTest : public ToolFixture
{
protected:
    void makeRig(char const* count) const
    {
        QDir(path("rig")).removeRecursively();
        ASSERT_EQ(host(options({"rig", "create", "rig", "--devices", count})).exitCode, 0);
    }

    Outcome run(QString const& request, QStringList const& more) const
    {
        return host(QStringList{QStringLiteral("run"), request} + more);
    }

    static QJsonArray results(Outcome const& outcome)
    {
        EXPECT_EQ(outcome.output.count('\n'), 1);
        return QJsonDocument::fromJson(outcome.output).array();
    }

    /** "SERIAL RESULT ERROR" of every device. */
    static QStringList summary(Outcome const& outcome)
    {
        QStringList lines;
        for (auto const& entry : results(outcome)) {
            QJsonObject const result = entry.toObject();
            lines << result[QLatin1String("serial")].toString() + QLatin1Char(' ') +
                         result[QLatin1String("result")].toString() + QLatin1Char(' ') +
                         result[QLatin1String("error")].toString();
        }
        return lines;
    }

    QString script(char const* content) const
    {
        write("downloader", QByteArray("#!/bin/sh\n") + content + '\n');
        QFile::setPermissions(path("downloader"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        return path("downloader");
    }

    /** Runs, sends the signal when the log first holds `mark`, and waits for the end. */
    Outcome interrupted(QStringList const& arguments, char const* mark, int signal) const
    {
        QProcess process;
        start(process, VREL_HOST_TOOL,
              options({"--log-format", "json", "run"}) + QStringList(kWrite) + arguments);
        process.setReadChannel(QProcess::StandardError);
        QByteArray log;
        while (!log.contains(mark) && process.waitForReadyRead(60000))
            log += process.readAllStandardError();
        auto const pid = static_cast<pid_t>(process.processId());
        EXPECT_GT(pid, 0) << "already over: " << log.toStdString();
        if (pid > 0)
            ::kill(pid, signal);
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        return {process.exitCode(), process.readAllStandardOutput(), log + process.readAllStandardError()};
    }
};

TEST_F(ManyRunTest, RigsAreMadeByARuleAndOnlyInEmptyPlaces)
{
    makeRig("66");
    Outcome const listed = host(options({"scan", "--json", "--sysfs", "rig/sysfs"}));
    QJsonArray const devices = results(listed);
    ASSERT_EQ(devices.size(), 66);
    std::map<int, int> products;
    for (auto const& device : devices) {
        EXPECT_TRUE(device.toObject()[QLatin1String("claimed")].toBool());
        ++products[device.toObject()[QLatin1String("product")].toInt()];
    }
    EXPECT_EQ(products.size(), 5U);
    EXPECT_EQ(listed.output.count(R"("serial":"VREL)"), 24);
    EXPECT_TRUE(listed.output.contains(
        R"("path":"1-1.1","vendor":11342,"product":15680,"claimed":true,"serial":"VREL0001")"));
    EXPECT_TRUE(listed.output.contains(R"("path":"2-1.2",)"));
    EXPECT_TRUE(
        listed.lines().first().startsWith(QLatin1String("2 The vendor API lists 24 devices, as many")));
    Outcome const unlisted = run(kWrite, options({"--path", "2-1.2"}));
    EXPECT_EQ(unlisted.exitCode, 2);
    EXPECT_TRUE(
        unlisted.lines().last().startsWith(QLatin1String("1 The vendor API lists as many devices as")));
    // What the list does not hold can be named all the same.
    EXPECT_EQ(run(kWrite, options({"--sn", "VREL0066"})).exitCode, 0);
    EXPECT_EQ(
        summary(run(kWrite, options({"--all", "--sn", "VREL0066", "--sn", "VREL0001", "--json"}))).size(),
        25);

    QDir().mkpath(path("empty"));
    struct Case
    {
        char const* directory;
        char const* devices;
        int exitCode;
        char const* cause;
    };
    Case const cases[] = {
        {"empty", "1", 0, ""},
        {"rig", "2", 1, "'rig' is not empty"},
        {"fw.bin", "2", 1, "Not a directory"},
        {"new", "0", 2, "1 to 1000"},
        {"new", "1001", 2, "1 to 1000"},
        {"new", "", 2, "1 to 1000"},
        {"", "1", 2, "name that is not empty"},
    };
    for (Case const& entry : cases) {
        Outcome const outcome = host(options({"rig", "create", entry.directory, "--devices", entry.devices}));
        EXPECT_EQ(outcome.exitCode, entry.exitCode) << entry.directory;
        EXPECT_TRUE(outcome.log.contains(entry.cause)) << outcome.log.toStdString();
    }
    EXPECT_EQ(host(options({"rig", "destroy", "rig", "--devices", "1"})).exitCode, 2);
    // Files as large as a rig's cannot be written here.
    EXPECT_EQ(
        execute("sh", options({"-c", R"(trap '' XFSZ; ulimit -f 100; exec "$0" rig create new --devices 2)",
                               VREL_HOST_TOOL}))
            .exitCode,
        1);
    for (char const* const name : {"new", ".new.new"})
        EXPECT_FALSE(QFile::exists(path(name))) << name;
}

TEST_F(ManyRunTest, AllDevicesAreServedAtOnceAndEveryLineTellsItsDevice)
{
    makeRig("24");
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("1000"));
    QElapsedTimer timer;
    timer.start();
    // Fewer open files than the devices take, as it would be with many more devices and the usual limit.
    QStringList const arguments = QStringList{QStringLiteral("run"), kWrite} + options({"--all", "--json"});
    Outcome const outcome = execute(
        "sh", options({"-c", R"(ulimit -S -n 30 && exec "$0" --log-format json "$@")", VREL_HOST_TOOL}) +
                  arguments);
    EXPECT_LT(timer.elapsed(), 12000);
    m_environment.remove(QStringLiteral("VREL_RIG_DELAY_MS"));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.log.toStdString();
    QJsonArray const devices = results(outcome);
    ASSERT_EQ(devices.size(), 24);
    std::map<QString, QStringList> texts;
    for (QByteArray const& bytes : outcome.log.split('\n')) {
        QJsonObject const line = QJsonDocument::fromJson(bytes).object();
        if (line[QLatin1String("level")].toInt() != 3)
            continue;
        QString const label = line[QLatin1String("path")].toString() + QLatin1Char(' ') +
                              line[QLatin1String("serial")].toString();
        EXPECT_EQ(line[QLatin1String("prefix")].toString(), label);
        texts[label] << line[QLatin1String("text")].toString();
    }
    QStringList const expected = options({"RuX module version: 513", "Starting WRITE TOKEN procedure",
                                          "Token slot 3: wrote 5009 bytes", "WRITE TOKEN procedure success"});
    for (auto const& entry : devices) {
        QJsonObject const device = entry.toObject();
        EXPECT_GE(device[QLatin1String("duration")].toInt(), 1000);
        EXPECT_EQ(texts[device[QLatin1String("path")].toString() + QLatin1Char(' ') +
                        device[QLatin1String("serial")].toString()],
                  expected);
    }
    EXPECT_EQ(texts.size(), 24U);
    EXPECT_TRUE(
        outcome.output.startsWith(R"([{"serial":"VREL0001","path":"1-1.1","result":"success","duration":)"));

    QStringList const named =
        options({"--path", "1-3.8", "--sn", "VREL0002", "--sn", "VREL0024", "--path", "1-1.2"});
    EXPECT_EQ(
        run(kReadEach, named + options({"--dry-run"})).output,
        R"(["--command","readtoken","--sn","VREL0024","--fw_rux","fw.bin","--path","back-VREL0024-1-3.8.bin","--slot","3"])"
        "\n"
        R"(["--command","readtoken","--sn","VREL0002","--fw_rux","fw.bin","--path","back-VREL0002-1-1.2.bin","--slot","3"])"
        "\n");
    Outcome const table = execute(VREL_HOST_TOOL, options({"run"}) + QStringList(kReadEach) + named);
    EXPECT_EQ(table.output.count('\n'), 3);
    EXPECT_TRUE(
        table.output.startsWith("PATH   SERIAL    RESULT   SECONDS  ERROR\n1-3.8  VREL0024  success  "));
    EXPECT_TRUE(table.log.contains("1-1.2 VREL0002: READ TOKEN procedure success\n"));
    EXPECT_EQ(read("back-VREL0024-1-3.8.bin"), read("token.bin"));
    QString const card =
        QStringLiteral(R"({"command": "getcardinfo", "fw_rux": "fw.bin", "device": "emmc", "idx": 0})");
    QByteArray const text =
        execute(VREL_HOST_TOOL,
                options({"run"}) + (QStringList(card) << options({"--sn", "VREL0001", "--sn", "absent"})))
            .log;
    EXPECT_TRUE(text.contains("absent: error: No device with serial number 'absent'\n")) << text.data();
    EXPECT_GT(text.count('\n'), 20) << "no report in it";
    EXPECT_EQ(text.count("1-1.1 VREL0001: ") + text.count("absent: "), text.count('\n')) << text.data();
    // One device without other options stays silent but has its placeholders filled.
    Outcome const single = run(kReadEach, options({"--sn", "VREL0005"}));
    EXPECT_EQ(single.exitCode, 0);
    EXPECT_EQ(single.output, QByteArray());
    EXPECT_FALSE(single.log.contains("\"serial\""));
    EXPECT_EQ(read("back-VREL0005-1-1.5.bin"), read("token.bin"));
}

TEST_F(ManyRunTest, OneDevicesFailureChangesNothingForTheOthers)
{
    makeRig("4");
    QDir().mkpath(path("rig/devices/VREL0002/tokens/slot-3.bin"));
    Outcome const outcome = run(kWrite, options({"--all", "--jobs", "2", "--json"}));
    EXPECT_EQ(outcome.exitCode, 1);
    QStringList const lines = summary(outcome);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_TRUE(lines.at(1).startsWith(QLatin1String("VREL0002 failure "))) << lines.at(1).toStdString();
    EXPECT_TRUE(lines.at(1).contains(QLatin1String("slot-3.bin"))) << lines.at(1).toStdString();
    for (int const i : {0, 2, 3})
        EXPECT_EQ(lines.at(i), QStringLiteral("VREL000%1 success ").arg(i + 1));
}

TEST_F(ManyRunTest, DownloadersComeOneAfterAnother)
{
    makeRig("3");
    // The second one's time-out must reach what the script starts, or the third finds the vendor API taken.
    QString const exe = script(R"(cat
case "$*" in
*VREL0001*) kill -SEGV $$ ;;
*VREL0002*) export VREL_RIG_DELAY_MS=60000 ;;
esac
)" VREL_DOWNLOADER R"( "$@"
exit $?)");
    QStringList const byPath = options({"--all", "--sn", "absent", "--json", "--timeout", "3000", "--exe"})
                               << exe;
    Outcome const outcome = run(kWrite, byPath);
    EXPECT_EQ(outcome.exitCode, 1);
    QStringList lines = summary(outcome);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines.at(0),
              QStringLiteral("VREL0001 failure The downloader '%1' failed; see its lines above").arg(exe));
    EXPECT_EQ(lines.at(1),
              QStringLiteral("VREL0002 failure The downloader did not finish within 3000 ms and was "
                             "ended; --timeout gives it more time"));
    EXPECT_EQ(lines.at(2), QStringLiteral("VREL0003 success "));
    EXPECT_EQ(lines.at(3), QStringLiteral("absent failure No device with serial number 'absent'"));
    EXPECT_TRUE(outcome.output.endsWith(R"("error":"No device with serial number 'absent'"}])"
                                        "\n"));
    EXPECT_TRUE(outcome.output.contains(R"({"serial":"absent","path":null,"result":"failure","duration":)"));
    EXPECT_TRUE(outcome.log.contains(R"("serial":"VREL0001","text":"Process was ended by a signal")"));

    // Without a need for paths the vendor API is left to the downloaders from the beginning.
    QDir(path("rig")).removeRecursively();
    Outcome const untouched =
        run(kWrite, options({"--sn", "VREL0001", "--sn", "VREL0002", "--json", "--exe", "/bin/false"}));
    EXPECT_EQ(summary(untouched).size(), 2);
    EXPECT_FALSE(QFile::exists(path("rig")));
}

TEST_F(ManyRunTest, AReaderThatGoesEndsNothingHalfWay)
{
    makeRig("2");
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("500"));
    QString const piped = QStringLiteral(R"({ "$0" "$@"; echo $? >code; } 2>&1 | true)");
    execute("sh", QStringList{QStringLiteral("-c"), piped, QStringLiteral(VREL_HOST_TOOL)} +
                      (QStringList(QStringLiteral("run")) << kWrite << options({"--all", "--jobs", "1"})));
    EXPECT_EQ(read("code"), "1\n") << "the results cannot be written";
    for (char const* const device : {"VREL0001", "VREL0002"})
        EXPECT_EQ(read((QByteArray("rig/devices/") + device + "/tokens/slot-3.bin").constData()),
                  read("token.bin"));
    execute("sh", QStringList{QStringLiteral("-c"), piped, QStringLiteral(VREL_DOWNLOADER)} +
                      options({"--command", "erasetoken", "--sn", "VREL0001", "--fw_rux", "fw.bin", "--slot",
                               "3"}));
    EXPECT_EQ(read("code"), "0\n");
}

TEST_F(ManyRunTest, AnInterruptionEndsWhatCanBeEndedAndStillTellsTheResults)
{
    makeRig("3");
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("1500"));
    Outcome const inProcess = interrupted(options({"--all", "--jobs", "1", "--json"}), "Starting", SIGINT);
    EXPECT_EQ(inProcess.exitCode, 1);
    EXPECT_EQ(summary(inProcess), options({"VREL0001 success ", "VREL0002 not run ", "VREL0003 not run "}));
    EXPECT_EQ(inProcess.lines().last(),
              QStringLiteral("1 Interrupted: the request was not run on 2 of 3 devices"));
    Outcome const complete = interrupted(options({"--sn", "VREL0001", "--json"}), "Starting", SIGINT);
    EXPECT_EQ(complete.exitCode, 0);
    EXPECT_EQ(complete.lines().last(), QStringLiteral("3 WRITE TOKEN procedure success"));

    QStringList const outside = options({"--all", "--json", "--exe"})
                                << script("echo started; exec sleep 1000");
    EXPECT_EQ(summary(interrupted(outside, "started", SIGTERM)),
              options({"VREL0001 failure The downloader was ended: the run was interrupted",
                       "VREL0002 not run ", "VREL0003 not run "}));

    QElapsedTimer timer;
    // A later signal does not wait for the runs; one at the same moment is the same request.
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("60000"));
    QProcess process;
    start(process, VREL_HOST_TOOL, options({"run"}) + QStringList(kWrite) + options({"--all"}));
    process.setReadChannel(QProcess::StandardError);
    while (!process.peek(4096).contains("Starting") && process.waitForReadyRead(60000)) {
    }
    timer.start();
    ASSERT_GT(process.processId(), 0);
    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    while (process.state() != QProcess::NotRunning && timer.elapsed() < 20000) {
        ::kill(static_cast<pid_t>(process.processId()), SIGINT);
        process.waitForFinished(100);
    }
    EXPECT_GE(timer.elapsed(), 400);
    EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(process.exitCode(), SIGINT);
}

#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__) // they want usual stacks for themselves
TEST_F(ManyRunTest, WithoutThreadsDevicesComeOneAfterAnother)
{
    makeRig("3");
    // No thread gets a stack of this size.
    Outcome const outcome =
        execute("sh", options({"-c", R"(ulimit -s 100000000000 || exit 77; exec "$0" run "$1" --all --json)",
                               VREL_HOST_TOOL})
                          << kWrite);
    if (outcome.exitCode == 77)
        GTEST_SKIP() << "the size of stacks cannot be set here";
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(summary(outcome), options({"VREL0001 success ", "VREL0002 success ", "VREL0003 success "}));
    EXPECT_TRUE(outcome.log.contains("warning: At most 1 of 3 devices ran at a time"));
}
#endif

TEST_F(ManyRunTest, WhatCannotBeRunOnEveryDeviceIsRunOnNone)
{
    makeRig("2");
    ASSERT_EQ(host(options({"scan"})).exitCode, 0); // makes the lock
    Files const before = rig();
    std::pair<QStringList, char const*> const cases[] = {
        {QStringList(kWrite) << options({"--json"}), "need a device"},
        {QStringList(kWrite) << options({"--jobs", "2"}), "need a device"},
        {QStringList(kWrite) << options({"--all", "--jobs", "0"}), "--jobs"},
        {QStringList(kWrite) << options({"--all", "--jobs", "two"}), "--jobs"},
        {QStringList(kWrite) << options({"--all", "--jobs", "2", "--exe", VREL_DOWNLOADER}),
         "one downloader"},
        {QStringList(kWrite) << options({"--sn", "VREL0001", "--sn", ""}), "not empty"},
        {QStringList(kWrite) << options({"--path", "1-1.1", "--path", "9-9"}),
         "USB path '9-9'; vrelhost scan"},
        {QStringList(kReadEach), "no device is named"},
        {QStringList(kReadEach) << options({"--sn", "VREL0001", "--sn", "absent"}),
         "lists no device with the serial number 'absent'"},
        {QStringList(kReadEach) << options({"--sn", "VREL0001", "--sn", "absent", "--dry-run"}),
         "lists no device 'absent'"},
        {QStringList(kReadEach) << options({"--sn", "../../VREL0001", "--exe", VREL_DOWNLOADER}),
         "'../../VREL0001'"},
        {options({"{\"command\": \"erasetoken\"}", "--all"}), "Missing value for fw_rux"},
    };
    for (auto const& [arguments, cause] : cases) {
        Outcome const outcome = host(options({"run"}) + arguments);
        EXPECT_EQ(outcome.exitCode, 2) << cause;
        EXPECT_EQ(outcome.output, QByteArray());
        EXPECT_EQ(outcome.log.count(cause), 1) << cause << ": " << outcome.log.toStdString();
    }
    EXPECT_TRUE(rig() == before);

    // One file under two names: by its directory, by links to what is not there yet, by another name of its
    // own.
    for (auto const& [target, link] : {std::pair(".", "1-1.1"), std::pair("./.", "1-1.2"),
                                       std::pair("absent", "VREL0001"), std::pair("absent", "VREL0002")})
        QFile::link(QString::fromUtf8(target), path(link));
    std::filesystem::create_hard_link(path("fw.bin").toStdString(), path("fw-VREL0001").toStdString());
    std::filesystem::create_hard_link(path("fw.bin").toStdString(), path("fw-VREL0002").toStdString());
    for (char const* const file : {"{path}/back.bin", "{serial}", "fw-{serial}", "back.bin"}) {
        QString const request =
            QStringLiteral(R"({"command": "readtoken", "fw_rux": "fw.bin", "path": "%1", "slot": 3})");
        Outcome const outcome = run(request.arg(QString::fromUtf8(file)), options({"--all"}));
        EXPECT_EQ(outcome.exitCode, 2) << file;
        EXPECT_TRUE(outcome.lines().join(QChar()).startsWith(
            QLatin1String("1 The devices 'VREL0001' and 'VREL0002' would write to the same file '")))
            << outcome.log.toStdString();
    }

    QString const slashed =
        QStringLiteral(R"({"command": "readtoken", "fw_rux": "fw.bin", "path": "{serial}", "slot": 3})");
    for (char const* const serial : {"..", "a/b", ".hidden", "a b", "a\\b", "a\x1b[m"})
        EXPECT_TRUE(run(slashed, options({"--dry-run", "--sn", serial}))
                        .lines()
                        .join(QChar())
                        .contains(QLatin1String("cannot be part of a file name")))
            << serial;

    // What a device list holds is refused where it cannot be told apart or would lead to another file.
    QString const erase =
        QStringLiteral(R"({"command": "erasetoken", "fw_rux": "fw-{serial}.bin", "slot": 3})");
    m_environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(VREL_OTHER_API_DIR));
    std::pair<char const*, char const*> const seconds[] = {
        {"", "gives no serial number for the device at 7-1.6"},
        {"OTHER1", "The devices at 7-1.5 and 7-1.6 have the same serial number"},
        {"../x", "cannot be part of a file name"},
    };
    for (auto const& [serial, cause] : seconds) {
        m_environment.insert(QStringLiteral("FAKE_VENDOR"),
                             QStringLiteral("device 7-1.5 OTHER1\ndevice 7-1.6 ") +
                                 QString::fromUtf8(serial));
        Outcome const outcome = run(erase, options({"--all"}));
        EXPECT_EQ(outcome.exitCode, 2) << cause;
        EXPECT_EQ(outcome.log.count(cause), 1) << outcome.log.toStdString();
        EXPECT_EQ(outcome.lines().size(), 1);
    }
    EXPECT_EQ(summary(run(kWrite, options({"--all", "--json"}))).size(), 2);
    m_environment.remove(QStringLiteral("LD_LIBRARY_PATH"));

    QDir(path("rig/devices")).removeRecursively();
    QDir().mkpath(path("rig/devices"));
    Outcome const none = run(kWrite, options({"--all"}));
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.lines(),
              options({"1 The vendor API lists no device: connect one in recovery mode, or name it "
                       "with --sn"}));
}

} // namespace
