#include "tests/runs/ToolFixture.h"

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
QString const kRead =
    request(R"({"command": "readtoken", "fw_rux": "fw.bin", "path": "back.bin", "slot": 3})");
QString const kErase = request(R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": 3})");

/** Every command once or more often, and how each run ends. */
std::pair<char const*, int> const kEveryCommand[] = {
    {R"({"command": "enumerate"})", 0},
    {R"({"command": "fwrec", "fw_rux": "fw.bin", "ifp-path": "ifp.bin"})", 0},
    {R"({"command": "downloadfwos", "fw_rux": "fw.bin", "fw_image": "token.bin", "os_image": "ifp.bin", "flags": 9})",
     0},
    {R"({"command": "iddevice"})", 0},
    {R"({"command": "iddevice", "flags": 4294967295, "ifp": "ifp.bin"})", 0},
    {R"({"command": "startover", "flags": 1})", 0},
    {R"({"command": "gettokenpid", "fw_rux": "fw.bin"})", 0},
    {R"({"command": "writetoken", "fw_rux": "fw.bin", "token": "token.bin", "slot": 3})", 0},
    {R"({"command": "readtoken", "fw_rux": "fw.bin", "path": "back.bin", "slot": 3})", 0},
    {R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": 3})", 0},
    {R"({"command": "readtoken", "fw_rux": "fw.bin", "path": "back.bin", "slot": 3})", 1},
    {R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": 3})", 1},
    {R"({"command": "downloadoemkeymanifest", "fw_rux": "fw.bin", "key": "token.bin"})", 0},
    {R"({"command": "downloadoemkeymanifest", "fw_rux": "fw.bin", "key": ""})", 1},
    {R"({"command": "oemifpprovision", "fw_rux": "fw.bin", "token": "ifp.bin"})", 0},
    {R"({"command": "setcapabilities", "fw_rux": "fw.bin", "capabilities": "token.bin"})", 0},
    {R"({"command": "clearrpmb", "fw_rux": "fw.bin", "device": "emmc", "idx": 0})", 0},
    {R"({"command": "clearrpmb", "fw_rux": "fw.bin", "device": "spi", "idx": 0})", 1},
    {R"({"command": "configpart", "fw_rux": "fw.bin", "path": "bad.xml", "device": "emmc"})", 1},
    {R"({"command": "configpart", "fw_rux": "fw.bin", "path": "parts.xml", "device": "emmc"})", 0},
    {R"({"command": "configpart", "fw_rux": "fw.bin", "path": "parts.xml", "device": "emmc"})", 1},
    {R"({"command": "readbootmedia", "fw_rux": "fw.bin", "path": "back.bin", "device": "emmc", "idx": 0, "start": 512, "blocks": 8, "part": 1})",
     0},
    {R"({"command": "readbootmedia", "fw_rux": "fw.bin", "path": "back.bin", "device": "spi", "idx": 0, "start": 4294967295, "blocks": 4294967295, "part": 0})",
     1},
    {R"({"command": "getcardinfo", "fw_rux": "fw.bin", "device": "emmc", "idx": 0})", 0},
    {R"({"command": "getcardinfo", "fw_rux": "fw.bin", "device": "emmc", "idx": 0, "path": "back.bin"})", 0},
    {R"({"command": "getcardinfo", "fw_rux": "fw.bin", "device": "spi", "idx": 0})", 0},
    {R"({"command": "getcardinfo", "fw_rux": "fw.bin", "device": "ufs", "idx": 0})", 1},
};

TEST_F(WholeRunTest, EveryCommandGivesTheSameBothWays)
{
    struct Step
    {
        QStringList lines;
        Files rig;
        QByteArray written;
    };
    write("parts.xml", "<partitions><partition name='a' size='512'/></partitions>");
    write("bad.xml", "<partitions>\n<partition>");
    std::vector<Step> inProcess;
    for (auto const& [text, exitCode] : kEveryCommand) {
        QFile::remove(path("back.bin"));
        Outcome const outcome = runRequest(request(text), {});
        EXPECT_EQ(outcome.exitCode, exitCode) << text << outcome.log.toStdString();
        EXPECT_EQ(outcome.output, QByteArray());
        ASSERT_FALSE(outcome.lines().isEmpty());
        EXPECT_EQ(outcome.lines().last().startsWith(QLatin1Char('1')), exitCode == 1) << text;
        inProcess.push_back({outcome.lines(), rig(), read("back.bin")});
    }
    QDir(path("rig")).removeRecursively();
    std::size_t step = 0;
    for (auto const& [text, exitCode] : kEveryCommand) {
        QFile::remove(path("back.bin"));
        Outcome const outcome = runRequest(request(text), options({"--exe", VREL_DOWNLOADER}));
        EXPECT_EQ(outcome.exitCode, exitCode) << text << outcome.log.toStdString();
        EXPECT_EQ(outcome.output, QByteArray());
        Step const& expected = inProcess[step++];
        QStringList const end = exitCode == 0 ? QStringList() : options({"2 Process ended with exit code 1"});
        EXPECT_EQ(outcome.lines(), expected.lines + end);
        EXPECT_TRUE(rig() == expected.rig) << text;
        EXPECT_EQ(read("back.bin"), expected.written);
    }

    EXPECT_EQ(inProcess[0].lines, options({"3 \"1-4.2\" : \"0A1B2C3D\"", "3 \"2-1\" : \"5E6F7A8B\""}));
    EXPECT_EQ(inProcess[7].lines.first(), QStringLiteral("3 RuX module version: 513"));
    EXPECT_EQ(inProcess[8].written, read("token.bin"));
    EXPECT_TRUE(inProcess[18].lines.join(QLatin1Char(' ')).contains(QLatin1String("line 2, column")));
    EXPECT_EQ(inProcess[20].lines.last(),
              QStringLiteral("1 eMMC configuration failed: it may already be configured"));
    EXPECT_EQ(inProcess[21].written.size(), 8 * 512);
    EXPECT_TRUE(inProcess[21].written.startsWith("0A1B2C3D emmc-0 partition-1 block 1"));
    EXPECT_EQ(inProcess[24].written.size(), 548);
}

TEST_F(WholeRunTest, FaultyRegistersGiveAnErrorText)
{
    ASSERT_EQ(runRequest(kEnumerate, {}).exitCode, 0);
    QString const card =
        request(R"({"command": "getcardinfo", "fw_rux": "fw.bin", "device": "emmc", "idx": 0})");
    for (char const* const content : {"", "00", "not hexadecimal"}) {
        write("rig/devices/0A1B2C3D/storage/emmc-0/csd.hex", content);
        Outcome const outcome = runRequest(card, {});
        EXPECT_EQ(outcome.exitCode, 1) << content;
        EXPECT_TRUE(outcome.lines().last().contains(QLatin1String("csd.hex"))) << outcome.log.toStdString();
    }
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
        {options({"run", R"({"command": "erasetoken", "fw_rux": "{{serial}}{{{path}}}{m}", "slot": 1})",
                  "--timeout", "9", "--dry-run"}),
         0,
         R"(["--command","erasetoken","--fw_rux","{serial}{{path}}{m}","--slot","1"])"
         "\n",
         "2 --timeout has no effect with --dry-run: nothing is run"},
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
        {options({"run", "{}", "--timeout", "1s"}), "--timeout"},
        {options({"run", "{}", "--timeout", "-2"}), "--timeout"},
        {options({"run", "{}", "--timeout", "2147483648"}), "--timeout"},
        {options({"--log-level", "7", "usages"}), "--log-level"},
        {options({"usages", "--log-level"}), "Missing value after '--log-level'"},
        {options({"--log-format", "xml", "usages"}), "--log-format"},
        {options({"run", "absent.json"}), "No such file"},
        {options({"run", ""}), "the request '': it is empty"},
        {options({"run", "."}), "directory"},
        {options({"run", "/dev/zero"}), "larger than"},
        {options({"run", "text.json"}), "not JSON"},
        {options({"run", "array.json"}), "not an object"},
        {options({"run", "[]"}), "not an object"},
        {options({"run", "{\"command\": "}), "not JSON"},
        {options({"run", "{}"}), "Missing command parameter"},
        {options({"run", R"({"command": ["erasetoken"]})"}), "Invalid command parameter value"},
        {options({"run", R"({"command": "erase"})"}), "Unknown command 'erase'"},
        {options({"run", R"({"command": "enumerate", "x": 1})"}),
         "Unknown key 'x': a request of the command 'enumerate' has no keys but command\n"},
        {options({"run", R"({"command": "erasetoken", "fw_rux": "fw.bin", "Slot": 1, "slot": 1})"}),
         "Unknown key 'Slot': a request of the command 'erasetoken' has no keys but command, fw_rux, slot\n"},
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
            EXPECT_TRUE(outcome.log.contains(cause)) << cause << ": " << outcome.log.toStdString();
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
        {options({"--command", "erasetoken", "--fw_rux", "fw.bin", "--slot", " 3"}),
         "Invalid value for slot"},
        {options({"--command", "erasetoken", "--fw_rux", "fw.bin", "--slot", "0x0x3"}),
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
    EXPECT_TRUE(host(options({"run"}) + QStringList(erase) + options({"--path", "7-1.5", "--json"}))
                    .output.startsWith(R"([{"serial":"OTHER1","path":"7-1.5","result":"failure",)"));
    EXPECT_EQ(host(options({"rig", "create", "made", "--devices", "1"})).exitCode, 0);
}

TEST_F(WholeRunTest, DownloadersThatFailAreExplainedInTime)
{
    write("fails", "#!/bin/sh\nexit 3\n");
    write("hangs", "#!/bin/sh\nexec sleep 100\n");
    write("plain", "");
    for (char const* const name : {"fails", "hangs"})
        QFile::setPermissions(path(name), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    m_environment.insert(QStringLiteral("PATH"),
                         m_directory.path() + QLatin1Char(':') + m_environment.value(QStringLiteral("PATH")));
    QElapsedTimer timer;
    timer.start();
    std::pair<char const*, char const*> const cases[] = {
        {"./missing", "does not exist"}, {"./", "not a file"}, {"./plain", "not executable"},
        {"missing", "not in PATH"},      {"fails", "failed"},  {"./hangs", "1500 ms"},
    };
    for (auto const& [name, cause] : cases) {
        Outcome const outcome = runRequest(kErase, options({"--timeout", "1500", "--exe", name}));
        EXPECT_EQ(outcome.exitCode, 1) << name;
        ASSERT_FALSE(outcome.lines().isEmpty());
        EXPECT_TRUE(outcome.lines().last().startsWith(QStringLiteral("1 "))) << name;
        EXPECT_TRUE(outcome.lines().last().contains(QLatin1String(cause))) << outcome.log.toStdString();
    }
    EXPECT_LT(timer.elapsed(), 20000);
}

} // namespace
