#include "tests/run/ToolFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

namespace {

class WholeRunTest : public ToolFixture
{
};

QString request(char const* json)
{
    return QString::fromUtf8(json);
}

QString const kEnumerate = request(R"({"command": "enumerate"})");
QString const kWrite =
    request(R"({"command": "writetoken", "fw_rux": "fw.bin", "token": "token.bin", "slot": 3})");
QString const kRead =
    request(R"({"command": "readtoken", "fw_rux": "fw.bin", "path": "back.bin", "slot": 3})");
QString const kErase = request(R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": 3})");
QString const kFwRec = request(R"({"command": "fwrec", "fw_rux": "fw.bin", "ifp-path": "ifp.bin"})");

TEST_F(WholeRunTest, BothWaysGiveTheSameLinesFilesAndRig)
{
    std::pair<QString, int> const steps[] = {{kEnumerate, 0}, {kFwRec, 0}, {kWrite, 0}, {kRead, 0},
                                             {kErase, 0},     {kRead, 1},  {kErase, 1}};
    std::vector<std::pair<QStringList, Files>> inProcess;
    for (bool const isOutOfProcess : {false, true}) {
        QDir(path("rig")).removeRecursively();
        std::size_t step = 0;
        for (auto const& [text, exitCode] : steps) {
            QFile::remove(path("back.bin"));
            Outcome const outcome =
                runRequest(text, isOutOfProcess ? options({"--exe", VREL_DOWNLOADER}) : QStringList());
            EXPECT_EQ(outcome.exitCode, exitCode) << text.toStdString() << outcome.log.toStdString();
            EXPECT_EQ(outcome.output, QByteArray());
            EXPECT_EQ(read("back.bin"), text == kRead && exitCode == 0 ? read("token.bin") : QByteArray());
            if (!isOutOfProcess) {
                EXPECT_GE(outcome.lines().size(), 2) << text.toStdString();
                EXPECT_EQ(outcome.lines().last().startsWith(QLatin1Char('1')), exitCode == 1);
                inProcess.emplace_back(outcome.lines(), rig());
                continue;
            }
            EXPECT_EQ(outcome.lines().mid(0, inProcess[step].first.size()), inProcess[step].first);
            EXPECT_EQ(rig(), inProcess[step].second) << text.toStdString();
            ++step;
        }
    }
    EXPECT_EQ(inProcess[0].first, (QStringList{QStringLiteral("3 \"1-4.2\" : \"0A1B2C3D\""),
                                               QStringLiteral("3 \"2-1\" : \"5E6F7A8B\"")}));
    EXPECT_EQ(inProcess[2].first.first(), QStringLiteral("3 RuX module version: 513"));
    EXPECT_EQ(inProcess[2].first.last(), QStringLiteral("3 WRITE TOKEN procedure success"));
}

TEST_F(WholeRunTest, DescriptionsAndDryRun)
{
    struct Case
    {
        QStringList arguments;
        int exitCode;
        char const* output;
        char const* log;
    };
    Case const cases[] = {
        {options({"types", "erasetoken"}), 0,
         R"({"command":["erasetoken"],"fw_rux":"file","slot":"uint8_t"})"
         "\n",
         ""},
        {options({"types", "nosuch"}), 0, "{}\n", ""},
        {options({"parameters", R"({"command": "erasetoken", "fw_rux": "m", "slot": 4000000000, "x": 1})"}),
         0,
         R"({"command":"erasetoken","fw_rux":"m","slot":4000000000})"
         "\n",
         ""},
        {options({"parameters", R"({"command": "erasetoken", "fw_rux": "m"})"}), 2, "{}\n",
         "1 Missing value for 'slot' parameter"},
        {options({"parameters", "{}"}), 0, "{}\n", ""},
        {options({"run", R"({"command": "erasetoken", "fw_rux": "m", "slot": 1})", "--dry-run"}), 0,
         R"(["--command","erasetoken","--fw_rux","m","--slot","1"])"
         "\n",
         ""},
        {options(
             {"run", R"({"command": "erasetoken", "fw_rux": "m", "slot": 1})", "--dry-run", "--sn", "a1"}),
         0,
         R"(["--command","erasetoken","--sn","a1","--fw_rux","m","--slot","1"])"
         "\n",
         ""},
    };
    for (Case const& entry : cases) {
        Outcome const outcome = host(entry.arguments);
        EXPECT_EQ(outcome.exitCode, entry.exitCode) << entry.arguments.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(outcome.output.toStdString(), entry.output);
        EXPECT_EQ(outcome.lines().join(QLatin1Char('\n')).toStdString(), entry.log);
    }
    EXPECT_FALSE(QFile::exists(path("rig"))) << "a description touched the rig";
    EXPECT_TRUE(host(options({"version"})).output.startsWith("1.0.0.0 (API: "));
}

TEST_F(WholeRunTest, RequestsComeFromTextFileOrStandardInput)
{
    write("request.json", kEnumerate.toUtf8());
    EXPECT_EQ(host(options({"run", "request.json"})).exitCode, 0);
    EXPECT_EQ(host(options({"run", "-"}), kEnumerate.toUtf8()).exitCode, 0);
}

TEST_F(WholeRunTest, BadRequestsNameTheCauseAndChangeNothing)
{
    ASSERT_EQ(runRequest(kWrite, {}).exitCode, 0);
    Files const before = rig();
    write("array.json", "[1]");
    write("text.json", "erase it");
    std::pair<QStringList, char const*> const cases[] = {
        {options({}), "No subcommand"},
        {options({"erase"}), "Unknown subcommand 'erase'"},
        {options({"run"}), "REQUEST"},
        {options({"run", "a", "b"}), "Unexpected argument 'b'"},
        {options({"run", "{}", "--fast"}), "Unknown option 'fast'"},
        {options({"--loud", "run", "{}"}), "Unknown option 'loud'"},
        {options({"run", "{}", "--sn"}), "Missing value after '--sn'"},
        {options({"run", "{}", "--timeout", "1s"}), "--timeout"},
        {options({"run", "{}", "--timeout", "-2"}), "--timeout"},
        {options({"run", "{}", "--timeout", "2147483648"}), "--timeout"},
        {options({"--log-level", "7", "usages"}), "--log-level"},
        {options({"--log-format", "xml", "usages"}), "--log-format"},
        {options({"run", "absent.json"}), "No such file"},
        {options({"run", "."}), "directory"},
        {options({"run", "/dev/zero"}), "larger than"},
        {options({"run", "text.json"}), "not JSON"},
        {options({"run", "array.json"}), "not an object"},
        {options({"run", "{\"command\": "}), "not JSON"},
        {options({"run", "{}"}), "Missing command parameter"},
        {options({"run", R"({"command": ["erasetoken"]})"}), "Invalid command parameter value"},
        {options({"run", R"({"command": "erase"})"}), "Unknown command 'erase'"},
        {options({"run", R"({"command": "erasetoken", "fw_rux": "fw.bin"})"}), "Missing value for slot"},
        {options({"run", R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": "3"})"}),
         "Invalid value for slot"},
    };
    for (auto const& [arguments, cause] : cases) {
        for (QStringList const& more : {QStringList(), options({"--exe", VREL_DOWNLOADER})}) {
            bool const isRun = arguments.contains(QStringLiteral("run"));
            Outcome const outcome = execute(VREL_HOST_TOOL, isRun ? arguments + more : arguments);
            EXPECT_EQ(outcome.exitCode, 2) << cause;
            EXPECT_EQ(outcome.output, QByteArray()) << cause;
            EXPECT_TRUE(outcome.log.startsWith("error: ")) << outcome.log.toStdString();
            EXPECT_TRUE(outcome.log.contains(cause) || arguments.contains(QStringLiteral("--sn")))
                << cause << ": " << outcome.log.toStdString();
        }
    }
    std::pair<QStringList, char const*> const downloaderCases[] = {
        {options({}), "Missing option '--command'"},
        {options({"--command"}), "Missing value after '--command'"},
        {options({"erasetoken"}), "Unexpected argument 'erasetoken'"},
        {options({"--command", "nosuch", "--slot", "3"}), "Unknown command 'nosuch'"},
        {options({"--command", "enumerate", "--slot", "3"}), "Unknown option '--slot'"},
        {options({"--command", "erasetoken", "--fw_rux", "fw.bin", "--slot", "3", "--slot", "4"}),
         "given twice"},
        {options({"--command", "erasetoken", "--fw_rux", "fw.bin", "--slot", "three"}),
         "Invalid value for slot"},
        {options({"--command", "erasetoken", "--fw_rux", "fw.bin", "--slot", "256"}),
         "Invalid value for slot"},
        {options({"--command", "erasetoken", "--fw_rux", "", "--slot", "3"}), "Empty value for fw_rux"},
    };
    for (auto const& [arguments, cause] : downloaderCases) {
        Outcome const outcome = execute(VREL_DOWNLOADER, arguments);
        EXPECT_EQ(outcome.exitCode, 2) << cause;
        EXPECT_TRUE(outcome.output.contains(cause)) << outcome.output.toStdString();
    }
    EXPECT_EQ(rig(), before);
}

TEST_F(WholeRunTest, DownloaderTakesHexNumbersAndPrintsPlainLines)
{
    Outcome const outcome =
        execute(VREL_DOWNLOADER, options({"--command", "writetoken", "--sn", kFirst, "--token", "token.bin",
                                          "--fw_rux", "fw.bin", "--slot", "0x3"}));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.output.startsWith("RuX module version: 513\nStarting WRITE TOKEN procedure\n"));
    EXPECT_TRUE(outcome.output.endsWith("WRITE TOKEN procedure success\n"));
    EXPECT_EQ(outcome.log, QByteArray());
    EXPECT_EQ(runRequest(kRead, {}).exitCode, 0);
}

TEST_F(WholeRunTest, FaultsOfTheVendorApiReachTheLog)
{
    struct Case
    {
        QString request;
        char const* fault;
        QStringList expected;
    };
    Case const cases[] = {
        {kEnumerate, "listDevices:-1:busy", options({"1 API already in use"})},
        {kEnumerate, "listDevices:0xB:a:b",
         options({"1 Command enumerate failed with code 0x0000000b", "1 a:b"})},
        {kErase, "eraseToken:5:worn out",
         options({"3 RuX module version: 513", "3 Starting ERASE TOKEN procedure", "1 worn out"})},
        {kErase, "eraseToken:-7",
         options({"3 RuX module version: 513", "3 Starting ERASE TOKEN procedure",
                  "1 The vendor API reported a failure without an error text"})},
    };
    for (Case const& entry : cases) {
        m_environment.insert(QStringLiteral("VREL_RIG_FAULT"), QString::fromUtf8(entry.fault));
        for (QStringList const& more : {QStringList(), options({"--exe", VREL_DOWNLOADER})}) {
            Outcome const outcome = runRequest(entry.request, more);
            EXPECT_EQ(outcome.exitCode, 1) << entry.fault;
            EXPECT_EQ(outcome.lines().mid(0, entry.expected.size()), entry.expected) << entry.fault;
        }
    }
}

TEST_F(WholeRunTest, RigServesOneProcessAndIsFreeAgainAfterAKill)
{
    QString const busy = QStringLiteral("1 The vendor API is not available: another process may be using it");
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("60000"));
    QProcess first;
    first.setProcessChannelMode(QProcess::MergedChannels);
    start(first, VREL_HOST_TOOL,
          QStringList{QStringLiteral("run"), kErase, QStringLiteral("--sn"), QString::fromUtf8(kFirst)});
    // Its start line shows that it has the rig.
    QByteArray log;
    while (!log.contains("Starting") && first.waitForReadyRead(20000))
        log += first.readAll();
    m_environment.remove(QStringLiteral("VREL_RIG_DELAY_MS"));

    Outcome const refused = runRequest(kWrite, {});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.lines(), QStringList(busy));
    Outcome const refusedOutside = runRequest(kWrite, options({"--exe", VREL_DOWNLOADER}));
    EXPECT_EQ(refusedOutside.exitCode, 1);
    EXPECT_EQ(refusedOutside.lines().first(), busy);

    first.kill();
    first.waitForFinished();
    EXPECT_EQ(runRequest(kWrite, {}).exitCode, 0);
}

TEST_F(WholeRunTest, AnotherVendorLibraryIsTakenWithoutARebuild)
{
    m_environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(VREL_OTHER_API_DIR));
    EXPECT_TRUE(host(options({"version"})).output.startsWith("1.0.0.0 (API: other)\n"));
    EXPECT_EQ(runRequest(kEnumerate, {}).lines(), options({"3 \"7-1.5\" : \"OTHER1\""}));
    QString const erase = request(R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": 9})");
    EXPECT_EQ(runRequest(erase, {}).lines(),
              options({"3 RuX module version: 513", "3 Starting ERASE TOKEN procedure", "3 fw.bin",
                       "3 0A1B2C3D", "1 slot nine"}));
}

TEST_F(WholeRunTest, DownloadersThatFailAreExplainedInTime)
{
    write("fails", "#!/bin/sh\nexit 3\n");
    write("hangs", "#!/bin/sh\nexec sleep 100\n");
    write("plain", "");
    for (char const* const name : {"fails", "hangs"})
        QFile::setPermissions(path(name), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    QElapsedTimer timer;
    timer.start();
    std::pair<char const*, char const*> const cases[] = {
        {"missing", "does not exist"}, {".", "not a file"},  {"plain", "not executable"},
        {"fails", "failed"},           {"hangs", "1500 ms"},
    };
    for (auto const& [name, cause] : cases) {
        Outcome const outcome = runRequest(kErase, options({"--timeout", "1500", "--exe"}) << path(name));
        EXPECT_EQ(outcome.exitCode, 1) << name;
        ASSERT_FALSE(outcome.lines().isEmpty());
        EXPECT_TRUE(outcome.lines().last().startsWith(QStringLiteral("1 "))) << name;
        EXPECT_TRUE(outcome.lines().last().contains(QLatin1String(cause))) << outcome.log.toStdString();
    }
    EXPECT_LT(timer.elapsed(), 20000);
}

} // namespace
