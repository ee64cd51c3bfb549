#include "tests/emulator/EmulatorFixture.h"

#include "emulator/Files.h"
#include "emulator/Text.h"

#include <future>
#include <thread>
#include <unistd.h>

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
        SCOPED_TRACE(operation.name);
        auto const input = makeFile("input", acceptedInput(operation.name));
        A const good = {m_module.c_str(), input.c_str(), output.c_str(), kFirst, m_error};
        auto const refused = [&](char const* A::*member, char const* value, char const* cause) {
            auto arguments = good;
            arguments.*member = value;
            expect(operation.call(*m_api, arguments), cause);
        };
        for (char const* const path : {"", absent.c_str(), empty.c_str(), "/dev/null", "/"}) {
            if (operation.needsModule)
                refused(&A::module, path, "recovery module");
            if (operation.needsInput)
                refused(&A::input, path, *path == '\0' ? "empty text" : path);
        }
        if (operation.needsModule)
            refused(&A::module, nullptr, "No recovery module given");
        if (operation.needsInput)
            refused(&A::input, nullptr, "null pointer");
        refused(&A::serial, nullptr, "No serial number given");
        refused(&A::serial, "../0A1B2C3D", "'../0A1B2C3D'");
        refused(&A::serial, "", "several devices");
        operation.call(*m_api, {nullptr, nullptr, nullptr, kFirst, nullptr, true});
        expect(operation.call(*m_api, good), "");
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
    expect(m_api->listDevices(list.get(), m_error), "");
    ASSERT_EQ(list->count, 2U);
    EXPECT_STREQ(list->names[1], kSecond);
    EXPECT_EQ(list->locations[0].bus, 1);
    EXPECT_THAT(
        std::vector(list->locations[0].ports, list->locations[0].ports + list->locations[0].portCount),
        ElementsAre(4, 2));
    expect(m_api->listDevices(nullptr, m_error), "null pointer");
}

TEST_F(OperationTest, knowsStorageDevicesByTypeAndFillsNoBufferThatIsTooSmall)
{
    struct Case
    {
        std::uint8_t type;
        std::uint32_t size;
        char const* cause;
    };
    for (auto [type, size, cause] : {Case{1, 0, ""},
                                     {2, 548, ""},
                                     {2, 547, "the buffer holds 547"},
                                     {2, ~0U, ""},
                                     {3, 548, "no UFS"},
                                     {9, 548, "Unknown storage device type 9"}}) {
        VrelCardInfo info = {};
        expect(run(&IVrelAPI::getCardInfo, &type, kZero, &info, &size, kFirst), cause);
    }
}

TEST_F(OperationTest, movesLifecycleForwardOnly)
{
    for (auto const& [token, cause] : {std::pair("development", "forward only"),
                                       {" production\n", ""},
                                       {"manufacturing", "forward only"},
                                       {"retired", "names no lifecycle stage"},
                                       {"production", "forward only"},
                                       {"decommissioned", ""}}) {
        auto const file = makeFile("stage", token);
        expect(run(&IVrelAPI::setDeviceLifecycleStage, file.c_str(), kFirst), cause);
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
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "busy");
    expect(run(&IVrelAPI::clearRpmb, kUfs, kZero, kSecond), "");
    pause.ended.set_value();
    EXPECT_EQ(first.get(), 0) << otherError;
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "");
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

TEST_F(OperationTest, aDeviceThatVanishesFailsItsOperation)
{
    auto device = rigFile("devices/0A1B2C3D");
    auto const vanish = [](unsigned long, char const* text, void* context) {
        if (std::string(text) == "TX clearRpmb")
            std::filesystem::rename(*static_cast<std::string*>(context), "elsewhere");
    };
    std::filesystem::current_path(m_directory);
    expect(m_api->clearRpmb(m_module.c_str(), kEmmc, 0, kFirst, m_error, vanish, &device),
           "'0A1B2C3D' was unplugged");
}

TEST_F(OperationTest, aFileThatChangesWhileItIsReadIsNoInput)
{
    auto const path = makeFile("token", std::string(100000, 't'));
    VrelRig::InputFile const shortened(path);
    ASSERT_EQ(::truncate(path.c_str(), 70000), 0);
    EXPECT_THROW(shortened.content(), VrelRig::RigError);
    VrelRig::InputFile const rewritten(path);
    auto const rewrite = [&](std::string_view) { std::filesystem::last_write_time(path, {}); };
    EXPECT_THROW(rewritten.read(0, 70000, rewrite), VrelRig::RigError);
}

} // namespace
