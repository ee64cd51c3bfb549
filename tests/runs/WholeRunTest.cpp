#include "tests/runs/ToolFixture.h"
#include "tests/support/CommandFile.h"

#include <QElapsedTimer>
#include <QFile>

#include <algorithm>

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

/** A command's requests by both routes, on a vendor library that does as it is told. */
class CommandRunTest : public ToolFixture, public ::testing::WithParamInterface<CommandFile>
{
};

TEST_P(CommandRunTest, IsTheSameByBothRoutes)
{
    m_environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(VREL_OTHER_API_DIR));
    for (Rows const& rows : GetParam().requests) {
        if (rows.count("log") == 0 || rows.count("serial") != 0)
            continue;
        SCOPED_TRACE(rows.at("request"));
        m_environment.remove(QStringLiteral("FAKE_VENDOR"));
        if (rows.count("vendor") != 0)
            m_environment.insert(QStringLiteral("FAKE_VENDOR"), request(rows.at("vendor").c_str()));
        Lines expected = linesOf(rows, "log");
        bool const isFailure = expected.back().rfind("1 ", 0) == 0;
        for (QStringList const& route : {QStringList(), options({"--exe", VREL_DOWNLOADER})}) {
            if (isFailure && !route.isEmpty())
                expected.emplace_back("2 Process ended with exit code 1");
            Outcome const outcome = runRequest(request(rows.at("request").c_str()), route);
            Lines lines;
            for (QString const& line : outcome.lines())
                lines.push_back(line.toStdString());
            EXPECT_EQ(asExpected(lines, expected), expected) << outcome.log.toStdString();
            EXPECT_EQ(outcome.exitCode, isFailure ? 1 : 0);
            EXPECT_EQ(outcome.output, QByteArray());
        }
    }
}

std::vector<CommandFile> registeredCommands()
{
    std::vector<CommandFile> files = commandFiles();
    files.erase(
        std::remove_if(files.begin(), files.end(), [](auto const& file) { return !file.isRegistered(); }),
        files.end());
    return files;
}

INSTANTIATE_TEST_SUITE_P(Of, CommandRunTest, ::testing::ValuesIn(registeredCommands()),
                         [](auto const& file) { return file.param.name; });

TEST_F(WholeRunTest, WhatOneRouteWritesTheOtherReads)
{
    QStringList const exe = options({"--exe", VREL_DOWNLOADER});
    ASSERT_EQ(runRequest(kWrite, {}).exitCode, 0);
    EXPECT_EQ(runRequest(kRead, exe).exitCode, 0);
    EXPECT_EQ(read("back.bin"), read("token.bin"));
    EXPECT_EQ(runRequest(kErase, exe).exitCode, 0);
    EXPECT_EQ(runRequest(kRead, {}).exitCode, 1);
    write("bad.xml", "<partitions>\n<partition>");
    QString const configure =
        request(R"({"command": "configpart", "fw_rux": "fw.bin", "path": "bad.xml", "device": "emmc"})");
    EXPECT_EQ(runRequest(configure, {}).lines().filter(QStringLiteral("line 2, column")).size(), 1);
    EXPECT_EQ(runRequest(kEnumerate, exe).lines(),
              options({"3 \"1-4.2\" : \"0A1B2C3D\"", "3 \"2-1\" : \"5E6F7A8B\""}));
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
        {options({"erase", "--help"}), "Unknown subcommand 'erase'"},
        {options({"rig", "check", ""}), "a name that is not empty"},
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
    m_environment.insert(QStringLiteral("FAKE_VENDOR"), request("version other"));
    EXPECT_TRUE(host(options({"version"})).output.startsWith("1.0.0.0 (API: other)\n"));
    EXPECT_EQ(host(options({"rig", "create", "made", "--devices", "1"})).exitCode, 0);
    m_environment.insert(QStringLiteral("FAKE_VENDOR"), request("device 7-1.5 OTHER1"));
    EXPECT_TRUE(host(options({"run"}) + QStringList(kErase) + options({"--path", "7-1.5", "--json"}))
                    .output.startsWith(R"([{"serial":"OTHER1","path":"7-1.5","result":"success",)"));
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
