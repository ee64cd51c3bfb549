#include "commands/VrelCommand.h"
#include "commands/VrelSetDeviceLifecycleStage.h"
#include "framework/JsonText.h"
#include "tests/support/ArgumentCollector.h"
#include "tests/support/CommandRun.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cstring>
#include <memory>

namespace {

JsonObject json(std::string const& text)
{
    QString error;
    auto object = parseJsonObject(QByteArray::fromStdString(text), error);
    EXPECT_TRUE(object) << text << ": " << error.toStdString();
    return object.value_or(JsonObject());
}

/** One command with everything it has in common with the others. */
struct CommandCase
{
    std::string name;
    std::string types;     ///< getParameterTypes without "command"
    std::string request;   ///< an accepted request without "command"
    std::string stored;    ///< getParameters of the accepted request, without "command"
    Lines missing;         ///< messages for an empty request
    std::string copyError; ///< of the static getParameters for an empty request
    std::string call;      ///< with serial "SN"
    Lines before;          ///< lines before the operation
    Lines after;           ///< lines after a success

    friend std::ostream& operator<<(std::ostream& stream, CommandCase const& entry)
    {
        return stream << entry.name;
    }
};

std::vector<CommandCase> const kCommands = {
    {"enumerate", "{}", "{}", "{}", {}, "", "listDevices()", {}, {}},
    {"fwrec",
     R"({"fw_rux":"file","ifp-path":"file"})",
     R"({"fw_rux":"m","ifp-path":"i"})",
     R"({"fw_rux":"m","ifp-path":"i"})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for ifp-path parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(fwRecovery("m", "SN", )" + std::string(88, '0') + ")",
     {"3 RuX module version: Unknown", "3 IFP emulation file: i",
      "3 Starting DOWNLOAD FW RECOVERY MODULE procedure"},
     {"3 DOWNLOAD FW RECOVERY MODULE procedure success"}},
    {"readtoken",
     R"({"fw_rux":"file","path":"file","slot":"uint8_t"})",
     R"({"fw_rux":"m","path":"t","slot":255})",
     R"({"fw_rux":"m","path":"t","slot":255})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for path parameter",
      "1 Missing value for slot parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(readToken("m", "t", 255, "SN"))",
     {"3 RuX module version: Unknown", "3 Starting READ TOKEN procedure"},
     {"3 READ TOKEN procedure success"}},
    {"writetoken",
     R"({"fw_rux":"file","slot":"uint8_t","token":"file"})",
     R"({"fw_rux":"m","token":"t","slot":65})",
     R"({"fw_rux":"m","slot":65,"token":"t"})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for token parameter",
      "1 Missing value for slot parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(writeToken("m", "t", 65, "SN"))",
     {"3 RuX module version: Unknown", "3 Starting WRITE TOKEN procedure"},
     {"3 WRITE TOKEN procedure success"}},
    {"erasetoken",
     R"({"fw_rux":"file","slot":"uint8_t"})",
     R"({"fw_rux":"m","slot":0,"path":"another command's"})",
     R"({"fw_rux":"m","slot":0})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for slot parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(eraseToken("m", 0, "SN"))",
     {"3 RuX module version: Unknown", "3 Starting ERASE TOKEN procedure"},
     {"3 ERASE TOKEN procedure success"}},
    {"downloadfwos",
     R"({"flags":"[uint32_t]","fw_image":"file","fw_rux":"file","os_image":"[file]","os_rux":"[file]"})",
     R"({"fw_rux":"m","fw_image":"f","os_rux":"","os_image":"o","flags":4294967295})",
     R"({"flags":4294967295,"fw_image":"f","fw_rux":"m","os_image":"o"})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for fw_image parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(downloadFwOs("m", "f", *4294967295, "", "o", "SN"))",
     {"3 RuX module version: Unknown", "3 Starting DOWNLOADFWOS procedure"},
     {"3 DOWNLOADFWOS procedure success"}},
    {"iddevice",
     R"({"flags":"[uint32_t]","ifp":"[file]"})",
     "{}",
     R"({"flags":0,"ifp":""})",
     {},
     "",
     "idDevice(0, " + std::string(88, '0') + R"(, "SN"))",
     {"3 Flags: 0", "3 Starting ID DEVICE procedure"},
     {"3 ID DEVICE procedure success", "3 Response flags: 4294967295", "3 OEM platform ID: 00001234",
      "3 Unique platform ID: 000fa0" + std::string(26, '0'),
      "3 Image errors: 00 1 a 1f 00 00 00 00 00 00 00 ff"}},
    {"startover",
     R"({"flags":"uint32_t"})",
     R"({"flags":7})",
     R"({"flags":7})",
     {"1 Missing value for flags parameter"},
     "Missing value for 'flags' parameter",
     R"(startOver(*7, *0, *0, "SN"))",
     {"3 Starting STARTOVER procedure", "3 Flags: 7"},
     {"3 STARTOVER procedure success", "3 Current operation: 1a", "3 Current context: 0"}},
    {"gettokenpid",
     R"({"flags":"[uint32_t]","fw_rux":"file"})",
     R"({"fw_rux":"m"})",
     R"({"flags":0,"fw_rux":"m"})",
     {"1 Missing value for fw_rux parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(getTokenPid("m", 0, )" + std::string(24, '0') + R"(, *0, *0, *0, *0, "SN"))",
     {"3 RuX module version: Unknown", "3 Flags: 0", "3 Starting GET TOKEN PART ID procedure"},
     {"3 GET TOKEN PART ID procedure success", "3 OEM platform ID: 00001234", "3 Device ID: |2a",
      "3 Token Part ID: 00ffffffffffffffffffff7f", "3 Trusted time: |5fd3a1b0", "3 Nonce: |0000002a"}},
    {"downloadoemkeymanifest",
     R"({"fw_rux":"file","key":"file"})",
     R"({"fw_rux":"m","key":""})",
     R"({"fw_rux":"m","key":""})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for key parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(downloadOemKeyManifest("m", "", "SN"))",
     {"3 RuX module version: Unknown", "3 Starting DownloadOemKeyManifest procedure"},
     {"3 DownloadOemKeyManifest procedure success"}},
    {"oemifpprovision",
     R"({"fw_rux":"file","token":"file"})",
     R"({"fw_rux":"m","token":"b"})",
     R"({"fw_rux":"m","token":"b"})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for token parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(oemIfpProvision("m", "b", "SN"))",
     {"3 RuX module version: Unknown", "3 Starting OEM IFP PROVISION procedure"},
     {"3 OEM IFP PROVISION procedure success"}},
    {"setcapabilities",
     R"({"capabilities":"file","fw_rux":"file"})",
     R"({"fw_rux":"m","capabilities":""})",
     R"({"capabilities":"","fw_rux":"m"})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for capabilities parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(setCapabilities("m", "", "SN"))",
     {"3 RuX module version: Unknown", "3 Starting Set Capabilities procedure"},
     {"3 Set Capabilities procedure success"}},
    {"clearrpmb",
     R"({"device":["emmc","spi","ufs","ufs_hpb"],"fw_rux":"file","idx":"uint32_t"})",
     R"({"fw_rux":"m","device":"ufs_hpb","idx":255})",
     R"({"device":"ufs_hpb","fw_rux":"m","idx":255})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for idx parameter",
      "1 Missing value for device parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(clearRpmb("m", 16, 255, "SN"))",
     {"3 RuX module version: Unknown", "3 Device type: ufs_hpb", "3 Device index: 255",
      "3 Starting CLEAR RPMB procedure"},
     {"3 CLEAR RPMB procedure success"}},
    {"configpart",
     R"({"device":["emmc","spi","ufs","ufs_hpb"],"fw_rux":"file","idx":"uint8_t","path":"file"})",
     R"({"fw_rux":"m","path":"c","device":"spi"})",
     R"({"device":"spi","fw_rux":"m","idx":0,"path":"c"})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for path parameter",
      "1 Missing value for device parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(configPartitions("m", "c", 1, 0, "SN"))",
     {"3 RuX module version: Unknown", "3 Device serial: SN", "3 Device type: spi", "3 Device index: 0",
      "3 Starting CONFIG DEVICE procedure"},
     {"3 CONFIG DEVICE procedure success"}},
    {"readbootmedia",
     R"({"blocks":"uint32_t","device":["emmc","spi","ufs","ufs_hpb"],"fw_rux":"file","idx":"uint8_t",)"
     R"("part":"uint32_t","path":"file","start":"uint32_t"})",
     R"({"fw_rux":"m","path":"t","device":"ufs","idx":2,"start":512,"blocks":8,"part":1})",
     R"({"blocks":8,"device":"ufs","fw_rux":"m","idx":2,"part":1,"path":"t","start":512})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for path parameter",
      "1 Missing value for device parameter", "1 Missing value for idx parameter",
      "1 Missing value for start parameter", "1 Missing value for blocks parameter",
      "1 Missing value for part parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(readBootMedia("m", 3, 2, 010000000002000008000000, "t", "SN"))",
     {"3 RuX module version: Unknown", "3 Device type: ufs", "3 Device index: 2", "3 Start offset: 512",
      "3 Blocks to read: 8", "3 Partition index: 1", "3 Starting READ BOOT MEDIA procedure"},
     {"3 READ BOOT MEDIA procedure success"}},
    {"getcardinfo",
     R"({"device":["emmc","spi","ufs","ufs_hpb"],"fw_rux":"file","idx":"uint8_t","path":"file"})",
     R"({"fw_rux":"m","device":"spi","idx":1})",
     R"({"device":"spi","fw_rux":"m","idx":1,"path":""})",
     {"1 Missing value for fw_rux parameter", "1 Missing value for device parameter",
      "1 Missing value for idx parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(getCardInfo("m", *1, 1, *828, "SN"))",
     {"3 RuX module version: Unknown", "3 Device type: spi", "3 Device index: 1",
      "3 Starting GET CARD INFO procedure"},
     {"3 ", "3 GET CARD INFO procedure success"}},
};

class CommandTest : public ::testing::TestWithParam<CommandCase>, protected CommandRun
{
protected:
    CommandTest()
    {
        m_api.oemId = 0x1234;
        m_api.uniqueId = {{0x00, 0x0F, 0xA0}};
        m_api.responseFlags = 0xFFFFFFFFU;
        m_api.response.imageErrors[1] = 1;
        m_api.response.imageErrors[2] = 0x0A;
        m_api.response.imageErrors[3] = 0x1F;
        m_api.response.imageErrors[11] = 0xFF;
        m_api.operation = 0x1A;
        std::memset(m_api.partId.bytes + 1, 0xFF, 10);
        m_api.partId.bytes[11] = 0x7F;
        m_api.nonce = 0x2A;
        m_api.trustedTime = 0x5FD3A1B0;
        m_api.deviceId = 0x2A;
    }

    static JsonObject request(std::string const& parameters)
    {
        JsonObject object = json(parameters);
        object.setValue(QStringLiteral("command"), GetParam().name.c_str());
        return object;
    }

    Lines run(bool expected) { return CommandRun::run(request(GetParam().request), expected); }
};

Lines operator+(Lines left, Lines const& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_P(CommandTest, TypesAreTold)
{
    JsonObject expected = json(GetParam().types);
    if (!expected.empty())
        expected.setValue(QStringLiteral("command"), QStringList(QString::fromStdString(GetParam().name)));
    EXPECT_EQ(toCompactJson(VrelFlashUtils::getParameterTypes(request("{}"))), toCompactJson(expected));
}

TEST_P(CommandTest, UsageIsTold)
{
    QFile file(QStringLiteral(VREL_TEST_DATA "/usages.txt"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(VrelFlashUtils::getUsages().toStdString(), file.readAll().toStdString());
    EXPECT_NE(VrelFlashUtils::getUsages().indexOf(QString::fromStdString('\t' + GetParam().name)), -1);
}

TEST_P(CommandTest, StoredParametersAndCommandLine)
{
    VrelFlashUtils utils;
    ASSERT_TRUE(utils.parseArguments(request(GetParam().request), m_log));
    EXPECT_EQ(m_recorder.lines(), Lines());
    EXPECT_EQ(toCompactJson(utils.getParameters()), toCompactJson(request(GetParam().stored)));

    QStringList expected{QStringLiteral("--command"), QString::fromStdString(GetParam().name),
                         QStringLiteral("--sn"), QStringLiteral("ab1")};
    for (auto const& [key, value] : json(GetParam().stored))
        expected << QStringLiteral("--") + key << value.toString();
    QProcess process;
    ArgumentCollector collector;
    utils.commonRun(process, QStringLiteral("/bin/true"), QStringLiteral("ab1"), m_log, collector, 0);
    EXPECT_EQ(collector.arguments, expected);
}

TEST_P(CommandTest, EveryMissingParameterIsReported)
{
    VrelFlashUtils utils;
    EXPECT_EQ(utils.parseArguments(request("{}"), m_log), GetParam().missing.empty());
    EXPECT_EQ(m_recorder.lines(), GetParam().missing);
    QString error;
    EXPECT_TRUE(VrelFlashUtils::getParameters(request("{}"), error).empty());
    EXPECT_EQ(error.toStdString(), GetParam().copyError);
}

TEST_P(CommandTest, SuccessRunsTheOperationOnce)
{
    m_api.messages = {{2, "from the API"}, {2, "RX 1"}};
    bool const hasMessages = GetParam().name != "enumerate";
    EXPECT_EQ(run(true),
              GetParam().before + (hasMessages ? Lines{"3 from the API"} : Lines()) + GetParam().after);
    EXPECT_EQ(m_api.calls, std::vector<std::string>{GetParam().call});
}

TEST_P(CommandTest, FailureLogsTheErrorText)
{
    Lines const code =
        GetParam().name == "enumerate" ? Lines{"1 Command enumerate failed with code 0x0000000b"} : Lines();
    m_api.result = 11;
    m_api.errorText = QByteArray("no such \xC3\xA4\0hidden", 17);
    EXPECT_EQ(run(false), GetParam().before + code + Lines{"1 no such \xC3\xA4"});
    m_api.errorText = QByteArray(kVrelErrorTextSize, 'e');
    EXPECT_EQ(run(false), GetParam().before + code + Lines{"1 " + std::string(kVrelErrorTextSize, 'e')});
    m_api.errorText.reset();
    EXPECT_EQ(run(false),
              GetParam().before + code + Lines{"1 The vendor API reported a failure without an error text"});
}

TEST_P(CommandTest, WithoutAcceptedParametersOrAnApiNothingIsRun)
{
    QString const name = QString::fromStdString(GetParam().name);
    std::unique_ptr<VrelUtilsCommand::VrelCommand> const command(
        VrelUtilsCommand::VrelCommand::createCommandFromId(name));
    EXPECT_FALSE(command->run(m_manager.fetchApi(), QStringLiteral("SN"), m_log));
    EXPECT_EQ(m_recorder.lines(), Lines());
    ASSERT_TRUE(command->parseArguments(request(GetParam().request), m_log));
    EXPECT_FALSE(command->run(VrelApiManager(), QStringLiteral("SN"), m_log));
    EXPECT_EQ(m_recorder.lines(), GetParam().name == "enumerate" ? Lines{"1 API already in use"} : Lines());
    EXPECT_TRUE(m_api.calls.empty());
}

INSTANTIATE_TEST_SUITE_P(All, CommandTest, ::testing::ValuesIn(kCommands),
                         [](auto const& entry) { return entry.param.name; });

/** Requests that a command rejects, and what it says of each. */
TEST(CommandParametersTest, RejectedValues)
{
    struct Case
    {
        char const* request;
        Lines expected;
    };
    Case const cases[] = {
        {R"({"command":"readtoken","fw_rux":"","path":"p","slot":1})",
         {"1 Empty value for fw_rux parameter"}},
        {R"({"command":"readtoken","fw_rux":7,"path":null,"slot":"1"})",
         {"1 Invalid value for fw_rux parameter", "1 Invalid value for path parameter",
          "1 Invalid value for slot parameter"}},
        {R"({"command":"writetoken","fw_rux":"m","token":"","slot":2})",
         {"1 Empty value for token parameter"}},
        {R"({"command":"erasetoken","slot":256})",
         {"1 Missing value for fw_rux parameter", "1 Invalid value for slot parameter"}},
        {R"({"command":"erasetoken","fw_rux":"m","slot":-1})", {"1 Invalid value for slot parameter"}},
        {R"({"command":"erasetoken","fw_rux":"m","slot":1.5})", {"1 Invalid value for slot parameter"}},
        {R"({"command":"fwrec","fw_rux":"m","ifp-path":""})", {"1 Empty value for ifp-path parameter"}},
        {R"({"command":"downloadfwos","fw_image":"","os_rux":1,"os_image":null,"flags":"0"})",
         {"1 Missing value for fw_rux parameter", "1 Empty value for fw_image parameter",
          "1 Invalid value for os_rux parameter", "1 Invalid value for os_image parameter",
          "1 Invalid value for flags parameter"}},
        {R"({"command":"iddevice","flags":-1,"ifp":1})",
         {"1 Invalid value for flags parameter", "1 Invalid value for ifp parameter"}},
        {R"({"command":"startover","flags":4294967296})", {"1 Invalid value for flags parameter"}},
        {R"({"command":"gettokenpid","fw_rux":"","flags":1.5})",
         {"1 Empty value for fw_rux parameter", "1 Invalid value for flags parameter"}},
        {R"({"command":"downloadoemkeymanifest","fw_rux":"","key":1})",
         {"1 Empty value for fw_rux parameter", "1 Invalid value for key parameter"}},
        {R"({"command":"oemifpprovision","fw_rux":"m","token":""})", {"1 Empty value for token parameter"}},
        {R"({"command":"setcapabilities","fw_rux":"m","capabilities":[]})",
         {"1 Invalid value for capabilities parameter"}},
        {R"({"command":"clearrpmb","fw_rux":"m","idx":256,"device":"EMMC"})",
         {"1 Invalid value for idx parameter", "1 Invalid value for device parameter"}},
        {R"({"command":"clearrpmb","fw_rux":"m","idx":1,"device":2})",
         {"1 Invalid value for device parameter"}},
        {R"({"command":"clearrpmb","fw_rux":"m","idx":1,"device":null})",
         {"1 Invalid value for device parameter"}},
        {R"({"command":"clearrpmb","fw_rux":"m","idx":1,"device":["emmc"]})",
         {"1 Invalid value for device parameter"}},
        {R"({"command":"configpart","fw_rux":"m","path":"","device":"eMMC","idx":"0"})",
         {"1 Empty value for path parameter", "1 Invalid value for device parameter",
          "1 Invalid value for idx parameter"}},
        {R"({"command":"readbootmedia","fw_rux":"m","device":"spi","idx":0,"start":0,"blocks":0,"part":0})",
         {"1 Missing value for path parameter"}},
        {R"({"command":"readbootmedia","fw_rux":"m","path":"p","device":3,"idx":-1,"start":"0","blocks":1.5,"part":true})",
         {"1 Invalid value for device parameter", "1 Invalid value for idx parameter",
          "1 Invalid value for start parameter", "1 Invalid value for blocks parameter",
          "1 Invalid value for part parameter"}},
        {R"({"command":"getcardinfo","fw_rux":"m","path":7,"idx":300})",
         {"1 Invalid value for path parameter", "1 Missing value for device parameter",
          "1 Invalid value for idx parameter"}},
    };
    LogRecorder recorder;
    LogHandler log;
    for (Case const& entry : cases) {
        recorder.clear();
        EXPECT_FALSE(VrelFlashUtils().parseArguments(json(entry.request), log)) << entry.request;
        EXPECT_EQ(recorder.lines(), entry.expected) << entry.request;
    }
}

/** The static copy: order, first fault only, no check of values. */
TEST(CommandParametersTest, Copies)
{
    struct Case
    {
        char const* request;
        char const* expected;
        char const* error;
    };
    Case const cases[] = {
        {R"({"command":"readtoken","fw_rux":"m","path":"p"})", "{}", "Missing value for 'slot' parameter"},
        {R"({"command":"readtoken","fw_rux":"m"})", "{}", "Missing value for 'slot' parameter"},
        {R"({"command":"readtoken","fw_rux":"m","slot":null})", "{}", "Invalid value for 'slot' parameter"},
        {R"({"command":"writetoken","fw_rux":"m","slot":1})", "{}", "Missing value for 'token' parameter"},
        {R"({"command":"erasetoken","fw_rux":"","slot":3,"path":"x"})",
         R"({"command":"erasetoken","fw_rux":"","slot":3})", ""},
        {R"({"command":"erasetoken","fw_rux":[1],"slot":"many"})",
         R"({"command":"erasetoken","fw_rux":[1],"slot":"many"})", ""},
        {R"({"command":"fwrec","fw_rux":"m"})", "{}", "Missing value for 'ifp-path' parameter"},
        {R"({"command":"downloadfwos","fw_rux":"m","fw_image":"f","os_image":null,"flags":null})", "{}",
         "Invalid value for 'os_image' parameter"},
        {R"({"command":"downloadfwos","fw_rux":"m","fw_image":"f"})",
         R"({"command":"downloadfwos","fw_image":"f","fw_rux":"m"})", ""},
        {R"({"command":"iddevice"})", "{}", ""},
        {R"({"command":"iddevice","ifp":""})", R"({"command":"iddevice","ifp":""})", ""},
        {R"({"command":"setcapabilities","capabilities":null})", "{}",
         "Missing value for 'fw_rux' parameter"},
        {R"({"command":"clearrpmb","fw_rux":"m","device":"x"})", "{}", "Missing value for 'idx' parameter"},
        {R"({"command":"clearrpmb","fw_rux":"m","device":"x","idx":"y"})",
         R"({"command":"clearrpmb","device":"x","fw_rux":"m","idx":"y"})", ""},
        {R"({"command":"configpart","fw_rux":"m","path":"c","device":null,"idx":null})", "{}",
         "Invalid value for 'idx' parameter"},
        {R"({"command":"configpart","fw_rux":"m","path":"c","device":"emmc"})",
         R"({"command":"configpart","device":"emmc","fw_rux":"m","path":"c"})", ""},
        {R"({"command":"readbootmedia","fw_rux":"m","path":"p","idx":null,"device":"ufs"})", "{}",
         "Invalid value for 'idx' parameter"},
        {R"({"command":"getcardinfo","fw_rux":"m","device":"emmc","idx":0})",
         R"({"command":"getcardinfo","device":"emmc","fw_rux":"m","idx":0})", ""},
    };
    for (Case const& entry : cases) {
        QString error;
        JsonObject const copy = VrelFlashUtils::getParameters(json(entry.request), error);
        EXPECT_EQ(toCompactJson(copy).toStdString(), entry.expected) << entry.request;
        EXPECT_EQ(error.toStdString(), entry.error) << entry.request;
    }
}

TEST(EnumerateTest, ListsInTheOrderOfLocationsAndPrintsCodes)
{
    FakeApi api;
    VrelManager manager;
    LogHandler log;
    VrelFlashUtils utils(json(R"({"command":"enumerate"})"));
    LogRecorder recorder;
    auto const run = [&] {
        recorder.clear();
        bool const result = utils.run(manager.fetchApi(), QString(), log);
        Lines lines = recorder.lines();
        lines.erase(lines.begin());
        return std::pair(result, lines);
    };
    api.addDevice("S%2", 2, {1});
    api.addDevice("SA", 10, {1});
    EXPECT_EQ(run(), std::pair(true, Lines{R"(3 "10-1" : "SA")", R"(3 "2-1" : "S%2")"}));
    api.result = -1;
    api.errorText = QByteArray("busy", 5);
    EXPECT_EQ(run(), std::pair(false, Lines{"1 API already in use"}));
    api.result = -2;
    EXPECT_EQ(run(), std::pair(false, Lines{"1 Command enumerate failed with code 0xfffffffe", "1 busy"}));
}

TEST(FwRecTest, RecordHoldsTheFilesFirst44Bytes)
{
    QTemporaryDir const directory;
    QString const path = directory.filePath(QStringLiteral("ifp \u00E4.bin"));
    FakeApi api;
    VrelManager manager;
    LogHandler log;
    JsonObject request;
    request.setValue(QStringLiteral("command"), "fwrec");
    request.setValue(QStringLiteral("fw_rux"), "m");
    request.setValue(QStringLiteral("ifp-path"), path);
    LogRecorder const recorder;
    for (int const size : {10, 44, 100}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(size, '\x5A'));
        file.close();
        api.calls.clear();
        EXPECT_TRUE(VrelFlashUtils(request).run(manager.fetchApi(), QStringLiteral("SN"), log));
        QByteArray const record = QByteArray(std::min(size, 44), '\x5A').leftJustified(44, '\0').toHex();
        EXPECT_EQ(api.calls.front(), R"(fwRecovery("m", "SN", )" + record.toStdString() + ")");
    }
}

/** What single commands add to what all share. */
class SingleCommandTest : public ::testing::Test, protected CommandRun
{
protected:
    Lines run(std::string const& request, bool expected, char const* serial = "SN")
    {
        return CommandRun::run(json(request), expected, serial);
    }
};

TEST_F(SingleCommandTest, IdDeviceHandsAnIfpPathOn)
{
    run(R"({"command":"iddevice","flags":3,"ifp":"i"})", true);
    EXPECT_EQ(m_api.calls, std::vector<std::string>{R"(idDeviceIfpFile(3, "i", "SN"))"});
}

TEST_F(SingleCommandTest, ConfigPartHintsAtAConfiguredEmmcAndSkipsAnEmptySerial)
{
    m_api.result = 1;
    m_api.errorText = QByteArray("refused", 8);
    EXPECT_EQ(run(R"({"command":"configpart","fw_rux":"m","path":"c","device":"emmc","idx":1})", false, ""),
              (Lines{"3 RuX module version: Unknown", "3 Device type: emmc", "3 Device index: 1",
                     "3 Starting CONFIG DEVICE procedure", "1 refused",
                     "1 eMMC configuration failed: it may already be configured"}));
    EXPECT_EQ(m_api.calls, std::vector<std::string>{R"(configPartitions("m", "c", 2, 1, ""))"});
    EXPECT_EQ(run(R"({"command":"configpart","fw_rux":"m","path":"c","device":"ufs"})", false).back(),
              "1 refused");
}

TEST_F(SingleCommandTest, ReadBootMediaPassesTheLargestNumbersOn)
{
    run(R"({"command":"readbootmedia","fw_rux":"m","path":"p","device":"spi","idx":0,"start":4294967295,)"
        R"("blocks":0,"part":4294967294})",
        true);
    EXPECT_EQ(m_api.calls,
              std::vector<std::string>{R"(readBootMedia("m", 1, 0, feffffffffffffff00000000, "p", "SN"))"});
}

TEST_F(SingleCommandTest, GetCardInfoWritesAFileOrReportsWhatCame)
{
    run(R"({"command":"getcardinfo","fw_rux":"m","path":"out","device":"ufs_hpb","idx":0})", true);
    EXPECT_EQ(m_api.calls, std::vector<std::string>{R"(getCardInfoToFile("m", *16, 0, "out", "SN"))"});

    // A size beyond the buffer selects a layout and reads nothing outside; what is not filled is zero.
    m_api.cardInfo = QByteArray(4, '\x01');
    for (std::uint32_t const claim : {0U, 4U, 828U, 829U, 0xFFFFFFFFU}) {
        m_api.cardInfoClaim = claim;
        Lines const emmc = run(R"({"command":"getcardinfo","fw_rux":"m","device":"emmc","idx":0})", true);
        ASSERT_EQ(emmc.size(), 6U);
        EXPECT_EQ(
            emmc[4].rfind(
                "3 \n==== EMMC CARD INFO ====\nOCR: 0x1010101\n\n---- CID ----\nManufacture ID: 0x0\n", 0),
            0U);
        EXPECT_EQ(emmc[5], "3 GET CARD INFO procedure success");
        Lines const ufs = run(R"({"command":"getcardinfo","fw_rux":"m","device":"ufs","idx":0})", true);
        EXPECT_EQ(ufs[4].find("Attributes"), std::string::npos);
    }
    m_api.result = 1;
    EXPECT_EQ(run(R"({"command":"getcardinfo","fw_rux":"m","device":"emmc","idx":0})", false).size(), 5U);
}

TEST_F(SingleCommandTest, LifecycleStageIsCompleteWithoutBeingRegistered)
{
    using VrelUtilsCommand::VrelSetDeviceLifecycleStage;
    VrelSetDeviceLifecycleStage command;
    EXPECT_FALSE(command.run(m_manager.fetchApi(), QStringLiteral("SN"), m_log));
    EXPECT_TRUE(command.getParameters().empty());
    EXPECT_FALSE(command.parseArguments(json(R"({"fw_rux":"m","token":""})"), m_log));
    EXPECT_EQ(m_recorder.lines(), Lines{"1 Empty value for token parameter"});
    EXPECT_TRUE(command.parseArguments(json(R"({"fw_rux":"m","token":"t"})"), m_log));
    EXPECT_FALSE(command.parseArguments(json(R"({"fw_rux":"other"})"), m_log));
    m_recorder.clear();
    EXPECT_TRUE(command.run(m_manager.fetchApi(), QStringLiteral("SN"), m_log));
    EXPECT_EQ(m_api.calls, std::vector<std::string>{R"(setDeviceLifecycleStage("m", "t", "SN"))"});
    EXPECT_EQ(m_recorder.lines(),
              (Lines{"3 RuX module version: Unknown", "3 Starting SET DEVICE LIFECYCLE STAGE procedure",
                     "3 SET DEVICE LIFECYCLE STAGE procedure success"}));
    EXPECT_EQ(toCompactJson(VrelSetDeviceLifecycleStage::getParameterTypes()).toStdString(),
              R"({"fw_rux":"file","token":"file"})");
    EXPECT_EQ(command.getCommandId(), QStringLiteral("setdevicelifecyclestage"));
    EXPECT_EQ(
        VrelSetDeviceLifecycleStage::getUsage(),
        QStringLiteral("\tsetdevicelifecyclestage\n\t    --fw_rux arg          path to fw recovery module\n"
                       "\t    --token arg           path to the token\n"));
}

} // namespace
