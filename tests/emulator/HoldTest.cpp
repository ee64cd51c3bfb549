#include "tests/emulator/EmulatorFixture.h"

#include "emulator/Rig.h"
#include "emulator/Text.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using testing::HasSubstr;

namespace {

using HoldTest = EmulatorTest;

int acquireAsExitCode()
{
    return api_acquire() == nullptr ? 1 : 0;
}

/** @return what the work says that it cannot do; empty when it can */
std::string errorOf(std::function<void()> const& work)
{
    try {
        work();
        return {};
    } catch (VrelRig::RigError const& error) {
        return error.what();
    }
}

TEST_F(HoldTest, isCountedAndExclusive)
{
    api_release();
    ASSERT_NE(api_acquire(), nullptr);
    ASSERT_NE(api_acquire(), nullptr);
    api_release();
    EXPECT_EQ(waitForChild(runInChild(acquireAsExitCode)), 1);
    EXPECT_THAT(errorOf([&] { VrelRig::checkRig(m_rig); }), HasSubstr("Another process holds the rig"));
    api_release();
    api_release();
    EXPECT_EQ(waitForChild(runInChild(acquireAsExitCode)), 0);
}

TEST_F(HoldTest, endsWithTheLastReleaseThoughAChildHasACopy)
{
    auto* const api = api_acquire();
    ASSERT_NE(api, nullptr);
    auto const child = runInChild([] { return ::pause(); });
    api_release();
    EXPECT_EQ(waitForChild(runInChild(acquireAsExitCode)), 0);
    ::kill(child, SIGKILL);
    waitForChild(child);
    for (auto const& operation : deviceOperations()) {
        char error[kVrelErrorTextSize] = "";
        EXPECT_NE(operation.call(*api, {m_module.c_str(), m_module.c_str(), "", kFirst, error}), 0);
        EXPECT_THAT(error, HasSubstr("not held")) << operation.name;
    }
}

TEST_F(HoldTest, tellsThatPermissionIsMissing)
{
    auto const deniedToOthers = [](std::string const& rig) {
        ::setenv("VREL_RIG", rig.c_str(), 1);
        return waitForChild(runInChild([&] {
            if (::geteuid() == 0 && ::seteuid(65534) != 0)
                return 1;
            auto const cause = errorOf([&] { VrelRig::checkRig(rig); });
            return cause.find("Permission denied") == std::string::npos || acquireAsExitCode() == 0 ? 2 : 0;
        }));
    };
    auto const taken = (m_directory / "taken").string();
    VrelRig::createRig(taken, {});
    ASSERT_EQ(::chmod(m_directory.c_str(), 0755) + ::chmod((taken + "/.vrel-rig").c_str(), 0666) +
                  ::chmod((taken + "/.tmp").c_str(), 0555) + ::mkdir(m_rig.c_str(), 0555),
              0);
    for (auto const& rig : {m_rig, m_rig + "/new", taken})
        EXPECT_EQ(deniedToOthers(rig), 0) << rig;
}

TEST_F(HoldTest, isNotMadeOfMalformedDevices)
{
    using VrelRig::DeviceDescription;
    DeviceDescription const good = {"A", "1-1", 0x3D40, {}};
    DeviceDescription const bad[] = {{"", "1-2", 1, {}},   {"../B", "1-2", 1, {}},
                                     {".B", "1-2", 1, {}}, {"A", "1-2", 1, {}},
                                     {"B", "1-1", 1, {}},  {"B", "1", 1, {}},
                                     {"B", "../x", 1, {}}, {std::string(128, 'B'), "1-2", 1, {}}};
    for (auto const& device : bad) {
        EXPECT_THAT(errorOf([&] { VrelRig::createRig(m_rig, {good, device}); }), HasSubstr("Malformed"));
        EXPECT_FALSE(std::filesystem::exists(m_rig)) << device.serial << ' ' << device.path;
    }
}

TEST_F(HoldTest, leavesNoHalfRigWhenItsMakerIsKilled)
{
    constexpr int kRounds = 24;
    auto const start = std::chrono::steady_clock::now();
    ASSERT_EQ(waitForChild(runInChild(acquireAsExitCode)), 0);
    auto const duration = std::chrono::steady_clock::now() - start;
    int interrupted = 0;
    for (int round = 0; round < kRounds; ++round) {
        std::filesystem::remove_all(m_rig);
        auto const child = runInChild(acquireAsExitCode);
        std::this_thread::sleep_for(duration * round / kRounds);
        ::kill(child, SIGKILL);
        waitForChild(child);
        bool const isMade = std::filesystem::exists(m_rig + "/devices");
        EXPECT_TRUE(!isMade || std::filesystem::exists(m_rig + "/sysfs/2-1/speed")) << round;
        interrupted += isMade ? 0 : 1;
        EXPECT_EQ(acquireAsExitCode(), 0) << round;
        api_release();
        EXPECT_THAT(VrelRig::checkRig(m_rig), HasSubstr("devices plugged in: 2"));
        EXPECT_TRUE(std::filesystem::is_empty(m_rig + "/.tmp"));
    }
    EXPECT_GT(interrupted, 0);
}

} // namespace
