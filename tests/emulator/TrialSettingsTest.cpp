#include "tests/emulator/EmulatorFixture.h"

#include <chrono>
#include <cstdlib>

namespace {

using TrialSettingsTest = HeldRigTest;

TEST_F(TrialSettingsTest, letEveryOperationFailAsTold)
{
    struct Case
    {
        char const* fault; ///< behind the operation's name
        int code;
        char const* text;
    };
    Case const cases[] = {
        {":-3", -3, "untouched"},
        {":0x1F:", 31, ""},
        {":-2147483648:a: b", -2147483647 - 1, "a: b"},
        {":0x80000001", -2147483647, "untouched"},
    };
    for (auto const& operation : deviceOperations()) {
        for (auto const& [fault, code, text] : cases) {
            ::setenv("VREL_RIG_FAULT", (std::string(operation.name) + fault).c_str(), 1);
            char error[kVrelErrorTextSize] = "untouched";
            EXPECT_EQ(operation.call(*m_api, {nullptr, nullptr, nullptr, kFirst, error}), code)
                << operation.name;
            EXPECT_STREQ(error, text);
        }
    }
    EXPECT_EQ(m_api->listDevices(std::make_unique<VrelDeviceList>().get(), m_error), 0);
}

TEST_F(TrialSettingsTest, areRefusedWhenMalformed)
{
    for (char const* const fault :
         {"readToken", "readToken:", "readToken:x", "readToken:0x", "readToken:0", "readToken:4294967296",
          "readToken:--1", "noSuchThing:1", "getApiVersion:1", ":1", "readToken: 5", "readToken:0 1"}) {
        ::setenv("VREL_RIG_FAULT", fault, 1);
        expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "VREL_RIG_FAULT");
        expect(m_api->listDevices(std::make_unique<VrelDeviceList>().get(), m_error), fault);
    }
    ::unsetenv("VREL_RIG_FAULT");
    ::setenv("VREL_RIG_DELAY_MS", "1s", 1);
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "VREL_RIG_DELAY_MS");
}

TEST_F(TrialSettingsTest, delayDeviceOperationsOnly)
{
    auto const start = std::chrono::steady_clock::now();
    auto const elapsed = [&] { return std::chrono::steady_clock::now() - start; };
    ::setenv("VREL_RIG_DELAY_MS", "1000", 1);
    expect(m_api->listDevices(std::make_unique<VrelDeviceList>().get(), m_error), "");
    EXPECT_LT(elapsed(), std::chrono::seconds(1));
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), "");
    EXPECT_GE(elapsed(), std::chrono::seconds(1));
}

} // namespace
