#include "commands/VrelFlashUtils.h"
#include "host/framework/JsonText.h"
#include "plugin/VrelManager.h"
#include "tests/support/FakeApi.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

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
    std::string arguments; ///< of the downloader, after the name
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
    {"enumerate", "{}", "{}", "{}", "", {}, "", "listDevices()", {}, {}},
    {"fwrec",
     R"({"fw_rux":"file","ifp-path":"file"})",
     R"({"fw_rux":"m","ifp-path":"i"})",
     R"({"fw_rux":"m","ifp-path":"i"})",
     "--fw_rux m --ifp-path i",
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
     "--fw_rux m --path t --slot 255",
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
     "--fw_rux m --slot 65 --token t",
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
     "--fw_rux m --slot 0",
     {"1 Missing value for fw_rux parameter", "1 Missing value for slot parameter"},
     "Missing value for 'fw_rux' parameter",
     R"(eraseToken("m", 0, "SN"))",
     {"3 RuX module version: Unknown", "3 Starting ERASE TOKEN procedure"},
     {"3 ERASE TOKEN procedure success"}},
};

class CommandTest : public ::testing::TestWithParam<CommandCase>
{
protected:
    static JsonObject request(std::string const& parameters)
    {
        JsonObject object = json(parameters);
        object.setValue(QStringLiteral("command"), GetParam().name.c_str());
        return object;
    }

    /** The lines of a run, without the front end's trace line. */
    Lines run(bool expected)
    {
        VrelFlashUtils utils(request(GetParam().request));
        m_recorder.clear();
        EXPECT_EQ(utils.run(m_manager.fetchApi(), QStringLiteral("SN"), m_log), expected);
        Lines lines = m_recorder.lines();
        lines.erase(lines.begin());
        return lines;
    }

    FakeApi m_api;
    VrelManager m_manager;
    LogHandler m_log;
    LogRecorder m_recorder;
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

} // namespace
