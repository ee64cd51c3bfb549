#include "tests/emulator/EmulatorFixture.h"

#include "emulator/TrialSettings.h"

#include <chrono>
#include <cstdlib>

using testing::HasSubstr;

namespace {

using TrialSettingsTest = HeldRigTest;

TEST_F(TrialSettingsTest, parsesFaults)
{
    struct Case
    {
        char const* description;
        int code;
        std::optional<std::string> text;
    };
    Case const cases[] = {
        {"readToken:5", 5, std::nullopt},
        {"readToken:-7:a: b", -7, "a: b"},
        {"listDevices:0x1F:", 31, ""},
        {"readToken:0x80000001", -2147483647, std::nullopt},
        {"readToken:-2147483648", -2147483647 - 1, std::nullopt},
    };
    for (auto const& [description, code, text] : cases) {
        auto const fault = VrelRig::TrialSettings::parseFault(description);
        EXPECT_EQ(fault.code, code) << description;
        EXPECT_EQ(fault.text, text) << description;
    }
}

TEST_F(TrialSettingsTest, makeEveryOperationFailUntouched)
{
    for (auto const& operation : deviceOperations()) {
        ::setenv("VREL_RIG_FAULT", (std::string(operation.name) + ":-3").c_str(), 1);
        char error[kVrelErrorTextSize] = "untouched";
        EXPECT_EQ(operation.call(*m_api, {nullptr, nullptr, nullptr, kFirst, error}), -3) << operation.name;
        EXPECT_STREQ(error, "untouched");
        ::setenv("VREL_RIG_FAULT", (std::string(operation.name) + ":4:told so").c_str(), 1);
        EXPECT_EQ(operation.call(*m_api, {nullptr, nullptr, nullptr, kFirst, error}), 4);
        EXPECT_STREQ(error, "told so");
    }
    EXPECT_EQ(m_api->listDevices(std::make_unique<VrelDeviceList>().get(), m_error), 0);
}

TEST_F(TrialSettingsTest, malformedOnesFailEverywhere)
{
    for (char const* const fault :
         {"readToken", "readToken:", "readToken:x", "readToken:0x", "readToken:0", "readToken:4294967296",
          "readToken:--1", "noSuchThing:1", "getApiVersion:1", ":1", "readToken: 5", "readToken:0 1"}) {
        ::setenv("VREL_RIG_FAULT", fault, 1);
        for (auto const& operation : deviceOperations()) {
            EXPECT_NE(operation.call(*m_api, {m_module.c_str(), nullptr, nullptr, kFirst, m_error}), 0)
                << fault;
            EXPECT_THAT(m_error, HasSubstr("VREL_RIG_FAULT")) << fault;
        }
    }
    ::unsetenv("VREL_RIG_FAULT");
    ::setenv("VREL_RIG_DELAY_MS", "1s", 1);
    EXPECT_NE(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), 0);
    EXPECT_THAT(m_error, HasSubstr("VREL_RIG_DELAY_MS"));
}

TEST_F(TrialSettingsTest, delayDeviceOperationsOnly)
{
    auto const timed = [](auto const& work) {
        auto const start = std::chrono::steady_clock::now();
        EXPECT_EQ(work(), 0);
        return std::chrono::steady_clock::now() - start;
    };
    constexpr std::chrono::milliseconds kDelay(1000);
    ::setenv("VREL_RIG_DELAY_MS", "1000", 1);
    VrelDeviceList list = {};
    EXPECT_LT(timed([&] { return m_api->listDevices(&list, m_error); }), kDelay);
    EXPECT_GE(timed([&] { return run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst); }), kDelay);
}

} // namespace
