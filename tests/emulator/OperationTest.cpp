#include "tests/emulator/EmulatorFixture.h"

#include "emulator/Files.h"
#include "emulator/Text.h"

#include <chrono>
#include <cstdlib>
#include <sys/resource.h>
#include <tuple>
#include <unistd.h>
#include <utility>

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
    expect(m_api->listDevices(m_list.get(), m_error), "");
    EXPECT_EQ(m_list->locations[0].portCount, 2);
    expect(m_api->listDevices(nullptr, m_error), "null pointer");
}

TEST_F(OperationTest, knowsStorageDevicesByTypeAndFillsNoBufferThatIsTooSmall)
{
    for (auto [type, size, cause] : {std::tuple(std::uint8_t(1), 0U, ""),
                                     {2, 548, ""},
                                     {2, 547, "the buffer holds 547"},
                                     {2, ~0U, ""},
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

TEST_F(OperationTest, isTheOnlyOneOnItsDeviceAndReportsTrafficToACallbackThatMayThrow)
{
    std::vector<std::string> lines;
    m_log = [&](std::string const& line) {
        lines.push_back(line);
        expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "busy");
    };
    expect(m_api->clearRpmb(m_module.c_str(), kEmmc, kZero, kFirst, m_error, handOn, this), "");
    EXPECT_THAT(lines,
                ElementsAre(StartsWith("1 Reading first packet"), StartsWith("1 TX "), StartsWith("1 TX "),
                            "2 Cleared 131072 bytes of RPMB on eMMC 0", StartsWith("1 RX ")));
    m_log = [](std::string const&) { throw 1; };
    EXPECT_NE(m_api->clearRpmb(m_module.c_str(), kEmmc, kZero, kFirst, m_error, handOn, this), 0);
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "");
}

TEST_F(OperationTest, aDeviceThatVanishesFailsItsOperation)
{
    m_log = [&](std::string const& line) {
        if (line == "1 TX clearRpmb")
            std::filesystem::rename(m_rig + "/devices/0A1B2C3D", m_directory / "elsewhere");
    };
    expect(m_api->clearRpmb(m_module.c_str(), kEmmc, 0, kFirst, m_error, handOn, this),
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

TEST_F(OperationTest, withoutDescriptorsTellsNoLessDevices)
{
    rlimit usual = {};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    for (rlim_t most = 0; most < 20; ++most) {
        rlimit const few = {most, usual.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        int const result = m_api->listDevices(m_list.get(), m_error);
        ::setrlimit(RLIMIT_NOFILE, &usual);
        expect(result, result == 0 ? "" : "Too many open files");
        EXPECT_TRUE(result != 0 || m_list->count == 2) << most;
    }
    expect(m_api->listDevices(m_list.get(), m_error), "");
}

TEST_F(OperationTest, failsAsTheEnvironmentTells)
{
    auto const x = [](std::size_t count) { return std::string(count, 'x'); };
    std::tuple<std::string, int, std::string> const cases[] = {
        {":-3", -3, "untouched"},
        {":0x1F:", 31, ""},
        {":-2147483648:a: b", -2147483647 - 1, "a: b"},
        {":0x80000001", -2147483647, "untouched"},
        {":1:" + x(1023), 1, x(1023)},
        {":1:" + x(1024), 1, x(1023)},
        {":1:" + x(1022) + "ä", 1, x(1022)}, // no half character
        {":1:" + x(1021) + "😀", 1, x(1021)},
        {":1:" + x(1020) + "€x", 1, x(1020) + "€"},
    };
    for (auto const& operation : deviceOperations()) {
        for (auto const& [fault, code, text] : cases) {
            ::setenv("VREL_RIG_FAULT", (operation.name + fault).c_str(), 1);
            std::string error = "untouched";
            error.resize(kVrelErrorTextSize);
            error += '#';
            EXPECT_EQ(operation.call(*m_api, {nullptr, nullptr, nullptr, kFirst, error.data()}), code);
            EXPECT_EQ(error.c_str() + error.substr(kVrelErrorTextSize), text + '#') << operation.name;
        }
    }
    expect(m_api->listDevices(m_list.get(), m_error), "");
}

TEST_F(OperationTest, saysThatItFindsNoMemoryAndLeavesTheDeviceFree)
{
    auto const output = (m_directory / "out").string();
    // In a process of its own: Qt's parser leaks when it finds no memory.
    auto const child = runInChild([&] {
        for (auto const& operation : deviceOperations()) {
            auto const input = makeFile("input", acceptedInput(operation.name));
            bool failed = true;
            for (long number = 0; failed; ++number) {
                g_allocationsLeft = number;
                auto const result = operation.call(
                    *m_api, {m_module.c_str(), input.c_str(), output.c_str(), kFirst, m_error});
                failed = std::exchange(g_allocationsLeft, -1) < 0;
                if (failed)
                    expect(result, "bad_alloc");
            }
            EXPECT_THAT(m_error, testing::Not(HasSubstr("busy")));
        }
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(waitForChild(child), 0);
}

TEST_F(OperationTest, refusesMalformedSettings)
{
    for (char const* const fault :
         {"readToken", "readToken:", "readToken:x", "readToken:0x", "readToken:0", "readToken:4294967296",
          "readToken:--1", "noSuchThing:1", "getApiVersion:1", ":1", "readToken: 5", "readToken:0 1",
          "readToken writeToken:1"}) {
        ::setenv("VREL_RIG_FAULT", fault, 1);
        expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "VREL_RIG_FAULT");
        expect(m_api->listDevices(m_list.get(), m_error), fault);
    }
    ::unsetenv("VREL_RIG_FAULT");
    ::setenv("VREL_RIG_DELAY_MS", "1s", 1);
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "VREL_RIG_DELAY_MS");
}

TEST_F(OperationTest, isDelayedOnADeviceOnly)
{
    auto const start = std::chrono::steady_clock::now();
    auto const elapsed = [&] { return std::chrono::steady_clock::now() - start; };
    ::setenv("VREL_RIG_DELAY_MS", "1000", 1);
    expect(m_api->listDevices(m_list.get(), m_error), "");
    EXPECT_LT(elapsed(), std::chrono::seconds(1));
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "");
    EXPECT_GE(elapsed(), std::chrono::seconds(1));
}

} // namespace
