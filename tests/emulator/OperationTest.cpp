#include "tests/emulator/EmulatorFixture.h"

#include <future>
#include <thread>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using OperationTest = HeldRigTest;

/** The input files that the operations accept, where it matters. */
std::string acceptedInput(std::string const& operation)
{
    if (operation == "configPartitions")
        return "<partitions><partition name='a' size='0x1000'/></partitions>";
    return operation == "setDeviceLifecycleStage" ? "manufacturing\n" : "input";
}

TEST_F(OperationTest, allSucceedOnANewRigAndRefuseBadArguments)
{
    using A = Operation::Arguments;
    auto const output = (m_directory / "out").string();
    auto const absent = (m_directory / "absent").string();
    auto const empty = makeFile("empty", "");
    for (auto const& operation : deviceOperations()) {
        auto const input = makeFile("input", acceptedInput(operation.name));
        A const good = {m_module.c_str(), input.c_str(), output.c_str(), kFirst, m_error};
        auto const refused = [&](char const* A::*member, char const* value, char const* cause) {
            auto arguments = good;
            arguments.*member = value;
            m_error[0] = '\0';
            EXPECT_NE(operation.call(*m_api, arguments), 0) << operation.name << ": " << cause;
            EXPECT_THAT(m_error, HasSubstr(cause)) << operation.name;
        };
        for (char const* const path : {"", absent.c_str(), empty.c_str(), "/dev/null", "/"}) {
            if (operation.needsModule)
                refused(&A::module, path, "recovery module");
            if (operation.needsInput)
                refused(&A::input, path, path);
        }
        if (operation.needsModule)
            refused(&A::module, nullptr, "No recovery module given");
        if (operation.needsInput)
            refused(&A::input, nullptr, "null pointer");
        refused(&A::serial, nullptr, "No serial number given");
        refused(&A::serial, "../0A1B2C3D", "'../0A1B2C3D'");
        refused(&A::serial, "", "several devices");
        operation.call(*m_api, {nullptr, nullptr, nullptr, kFirst, nullptr, true});
        EXPECT_EQ(operation.call(*m_api, good), 0) << operation.name << ": " << m_error;
    }
}

TEST_F(OperationTest, tellsVersionAndDevices)
{
    VrelApiVersionRecord version = {};
    m_api->getApiVersion(&version);
    m_api->getApiVersion(nullptr);
    EXPECT_STREQ(version.versionText, "1.0.0-emulator");
    EXPECT_EQ(version.textLength, -1);
    auto const list = std::make_unique<VrelDeviceList>();
    ASSERT_EQ(m_api->listDevices(list.get(), m_error), 0);
    ASSERT_EQ(list->count, 2U);
    EXPECT_STREQ(list->names[0], kFirst);
    EXPECT_STREQ(list->names[1], kSecond);
    EXPECT_EQ(list->locations[0].bus, 1);
    EXPECT_EQ(list->locations[0].portCount, 2);
    EXPECT_EQ(list->locations[0].ports[0], 4);
    EXPECT_EQ(list->locations[0].ports[1], 2);
    EXPECT_NE(m_api->listDevices(nullptr, m_error), 0);
    EXPECT_EQ(contentOf(rigFile("sysfs/1-4.2/devpath")), "4.2\n");
}

TEST_F(OperationTest, keepsTokensByteForByte)
{
    std::string const token("\0token\xFF\r\n", 9);
    auto const file = makeFile("t\xC3\xB6ken", token);
    auto const target = (m_directory / "copy").string();
    ASSERT_EQ(run(&IVrelAPI::writeToken, file.c_str(), kZero, kSecond), 0) << m_error;
    ASSERT_EQ(run(&IVrelAPI::readToken, target.c_str(), kZero, kSecond), 0);
    EXPECT_EQ(contentOf(target), token);
    EXPECT_EQ(run(&IVrelAPI::eraseToken, kZero, kSecond), 0);
    EXPECT_NE(run(&IVrelAPI::eraseToken, kZero, kSecond), 0);
    EXPECT_STREQ(m_error, "Token slot 0 is empty");
    EXPECT_NE(run(&IVrelAPI::readToken, target.c_str(), kZero, kSecond), 0);
    EXPECT_NE(run(&IVrelAPI::eraseToken, std::uint8_t(16), kSecond), 0);
    EXPECT_THAT(m_error, HasSubstr("slots are 0 to 15"));
    auto const large = makeFile("large", std::string(1024 * 1024 + 1, 'x'));
    EXPECT_NE(run(&IVrelAPI::writeToken, large.c_str(), kZero, kSecond), 0);
    EXPECT_THAT(m_error, HasSubstr("at most 1048576"));
}

TEST_F(OperationTest, recordsAndCountsWhatIsDownloaded)
{
    VrelIfpRecord ifp = {{0xAB}};
    std::uint32_t flags = 0x12;
    std::uint32_t numbers[2] = {};
    auto const block = makeFile("block", "IFP");
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(run(&IVrelAPI::fwRecovery, kFirst, &ifp), 0) << m_error;
        ASSERT_EQ(m_api->startOver(&flags, &numbers[0], &numbers[1], kFirst, m_error, nullptr, nullptr), 0);
        ASSERT_EQ(run(&IVrelAPI::oemIfpProvision, block.c_str(), kFirst), 0);
    }
    ASSERT_EQ(run(&IVrelAPI::downloadFwOs, block.c_str(), &flags, "", block.c_str(), kFirst), 0);
    auto const device = std::string("devices/") + kFirst;
    // printf 'recovery module' | sha256sum
    EXPECT_THAT(
        contentOf(rigFile(device + "/firmware/recovery.json")),
        testing::AllOf(HasSubstr("\"count\": 2"), HasSubstr("\"AB 00"), HasSubstr("\"size\": 15"),
                       HasSubstr("f40e632fc0aec5bda18d4fc9002c3219a7c0e716f6aedf650f381d2b4b658ac3")));
    EXPECT_THAT(contentOf(rigFile(device + "/firmware/fw-os.json")),
                testing::AllOf(HasSubstr("0x00000012"), HasSubstr("osImage"), Not(HasSubstr("osModule"))));
    EXPECT_THAT(contentOf(rigFile(device + "/start-over.json")), HasSubstr("\"count\": 2"));
    EXPECT_EQ(contentOf(rigFile(device + "/provisioning/oem-ifp-1.bin")), "IFP");
    EXPECT_FALSE(std::filesystem::exists(rigFile(device + "/provisioning/oem-ifp-0.bin")));
}

TEST_F(OperationTest, movesLifecycleForwardOnly)
{
    struct Step
    {
        char const* token;
        bool isAccepted;
    };
    for (auto const& [token, isAccepted] :
         {Step{"development", false}, Step{" production\n", true}, Step{"manufacturing", false},
          Step{"retired", false}, Step{"production", false}, Step{"decommissioned", true}}) {
        auto const file = makeFile("stage", token);
        auto const result = run(&IVrelAPI::setDeviceLifecycleStage, file.c_str(), kFirst);
        EXPECT_EQ(result == 0, isAccepted) << token << ": " << m_error;
    }
}

TEST_F(OperationTest, refusesASecondOperationOnABusyDevice)
{
    struct Pause
    {
        std::promise<void> reached;
        std::promise<void> ended;
        bool isOver = false;
    } pause;
    auto const waitOnce = [](unsigned long, char const*, void* context) {
        auto& inner = *static_cast<Pause*>(context);
        if (!std::exchange(inner.isOver, true)) {
            inner.reached.set_value();
            inner.ended.get_future().wait();
        }
    };
    char otherError[kVrelErrorTextSize] = "";
    auto first = std::async(std::launch::async, [&] {
        return m_api->clearRpmb(m_module.c_str(), 2, 0, kFirst, otherError, waitOnce, &pause);
    });
    pause.reached.get_future().wait();
    EXPECT_NE(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), 0);
    EXPECT_THAT(m_error, HasSubstr("busy"));
    EXPECT_EQ(run(&IVrelAPI::clearRpmb, kUfs, kZero, kSecond), 0);
    pause.ended.set_value();
    EXPECT_EQ(first.get(), 0) << otherError;
    EXPECT_EQ(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), 0);
}

TEST_F(OperationTest, reportsTrafficAndProgressAndSurvivesAThrowingCallback)
{
    std::vector<std::string> lines;
    auto const record = [](unsigned long level, char const* text, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(std::to_string(level) + ' ' + text);
    };
    ASSERT_EQ(m_api->clearRpmb(m_module.c_str(), 3, 0, kSecond, m_error, record, &lines), 0);
    EXPECT_THAT(lines,
                ElementsAre(StartsWith("1 Reading first packet"), StartsWith("1 TX "), StartsWith("1 TX "),
                            "2 Cleared 131072 bytes of RPMB on UFS 0", StartsWith("1 RX ")));
    auto const fail = [](unsigned long, char const*, void*) { throw 1; };
    EXPECT_NE(m_api->clearRpmb(m_module.c_str(), 3, 0, kSecond, m_error, fail, nullptr), 0);
}

} // namespace
