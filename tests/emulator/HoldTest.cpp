#include "tests/emulator/EmulatorFixture.h"

#include "emulator/Rig.h"
#include "emulator/Text.h"

#include <csignal>
#include <cstdlib>
#include <sys/stat.h>
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
    ASSERT_EQ(::chmod(m_directory.c_str(), 0755) + ::mkdir(m_rig.c_str(), 0755), 0);
    auto const deniedToOthers = [&] {
        return waitForChild(runInChild([] {
            if (::geteuid() == 0 && ::seteuid(65534) != 0)
                return 1;
            ::chmod(std::getenv("VREL_RIG"), 0555); // of a user who is not root
            auto const cause = errorOf([] { VrelRig::checkRig(std::getenv("VREL_RIG")); });
            return cause.find("Permission denied") == std::string::npos || acquireAsExitCode() == 0 ? 2 : 0;
        }));
    };
    EXPECT_EQ(deniedToOthers(), 0);
    ::setenv("VREL_RIG", rigFile("new").c_str(), 1);
    EXPECT_EQ(deniedToOthers(), 0);
    ::chmod(m_rig.c_str(), 0755);
}

TEST_F(HoldTest, isMadeOnceByProcessesThatRace)
{
    std::vector<int> children(8);
    for (auto& child : children)
        child = runInChild([] {
            return errorOf([] { VrelRig::createRig(std::getenv("VREL_RIG"), VrelRig::standardDevices()); })
                .empty();
        });
    EXPECT_EQ(std::count_if(children.begin(), children.end(), waitForChild), 1);
    EXPECT_EQ(acquireAsExitCode(), 0);
    api_release();
}

TEST_F(HoldTest, findsTheRigWithoutVariable)
{
    ::unsetenv("VREL_RIG");
    ::setenv("XDG_STATE_HOME", "/state", 1);
    EXPECT_EQ(VrelRig::configuredRoot(), "/state/vrel/rig");
    ::setenv("XDG_STATE_HOME", "not-absolute", 1);
    ::setenv("HOME", "/home/user", 1);
    EXPECT_EQ(VrelRig::configuredRoot(), "/home/user/.local/state/vrel/rig");
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

} // namespace
