#include "tests/emulator/EmulatorFixture.h"

#include "emulator/RigHold.h"
#include "emulator/RigTemplate.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace {

using HoldTest = EmulatorTest;

int acquireAsExitCode()
{
    return api_acquire() == nullptr ? 1 : 0;
}

TEST_F(HoldTest, isCountedAndExclusive)
{
    api_release();
    ASSERT_NE(api_acquire(), nullptr);
    ASSERT_NE(api_acquire(), nullptr);
    api_release();
    EXPECT_EQ(waitForChild(runInChild(acquireAsExitCode)), 1);
    api_release();
    api_release();
    EXPECT_EQ(waitForChild(runInChild(acquireAsExitCode)), 0);
    ASSERT_NE(api_acquire(), nullptr);
    api_release();
}

TEST_F(HoldTest, endsWithTheLastReleaseThoughAChildHasACopy)
{
    ASSERT_NE(api_acquire(), nullptr);
    auto const child = runInChild([] { return ::pause(); });
    api_release();
    EXPECT_EQ(waitForChild(runInChild(acquireAsExitCode)), 0);
    ::kill(child, SIGKILL);
    waitForChild(child);
}

TEST_F(HoldTest, endsWithAKilledProcess)
{
    int ready[2] = {};
    ASSERT_EQ(::pipe(ready), 0);
    auto const holder = runInChild([&] {
        auto const answer = api_acquire() == nullptr ? 'n' : 'y';
        return ::write(ready[1], &answer, 1) == 1 ? ::pause() : 1;
    });
    char answer = 0;
    ASSERT_EQ(::read(ready[0], &answer, 1), 1);
    ASSERT_EQ(answer, 'y');
    EXPECT_EQ(api_acquire(), nullptr);
    ::kill(holder, SIGKILL);
    waitForChild(holder);
    EXPECT_NE(api_acquire(), nullptr);
    api_release();
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(HoldTest, operationsFailWithoutIt)
{
    auto* const api = api_acquire();
    ASSERT_NE(api, nullptr);
    api_release();
    for (auto const& operation : deviceOperations()) {
        char error[kVrelErrorTextSize] = "";
        EXPECT_NE(operation.call(*api, {m_module.c_str(), m_module.c_str(), "", kFirst, error}), 0);
        EXPECT_THAT(error, testing::HasSubstr("not held")) << operation.name;
    }
}

TEST_F(HoldTest, takesAnEmptyDirectoryButNothingElse)
{
    std::filesystem::create_directory(m_rig);
    EXPECT_NE(api_acquire(), nullptr);
    api_release();
    for (auto const& [root, cause] :
         {std::pair(m_directory.string(), "no rig"), std::pair(m_module, "Not a dir")}) {
        ::setenv("VREL_RIG", root.c_str(), 1);
        EXPECT_EQ(api_acquire(), nullptr);
        EXPECT_THAT([] { VrelRig::RigHold::take(); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr(cause)));
    }
}

TEST_F(HoldTest, isMadeOnceByProcessesThatRace)
{
    std::vector<int> children;
    for (int i = 0; i < 8; ++i)
        children.push_back(runInChild([] {
            return VrelRig::RigTemplate::standard().makeIfAbsent(std::getenv("VREL_RIG")).empty() ? 1 : 0;
        }));
    for (auto const child : children)
        EXPECT_EQ(waitForChild(child), 0);
    EXPECT_NE(api_acquire(), nullptr);
    api_release();
}

TEST_F(HoldTest, findsTheRigWithoutVariable)
{
    ::unsetenv("VREL_RIG");
    ::setenv("XDG_STATE_HOME", "/state", 1);
    EXPECT_EQ(VrelRig::RigHold::configuredRoot(), "/state/vrel/rig");
    ::setenv("XDG_STATE_HOME", "not-absolute", 1);
    ::setenv("HOME", "/home/user", 1);
    EXPECT_EQ(VrelRig::RigHold::configuredRoot(), "/home/user/.local/state/vrel/rig");
    ::unsetenv("XDG_STATE_HOME");
}

TEST_F(HoldTest, templatesRefuseMalformedDevices)
{
    using VrelRig::DeviceDescription;
    DeviceDescription const good = {"A", "1-1", 0x3D40, {}};
    EXPECT_NO_THROW(VrelRig::RigTemplate({good, {"B", "1-2", 0x3D40, {}}}));
    std::vector<DeviceDescription> const bad = {{"", "1-2", 1, {}},   {"../B", "1-2", 1, {}},
                                                {".B", "1-2", 1, {}}, {"A", "1-2", 1, {}},
                                                {"B", "1-1", 1, {}},  {"B", "1", 1, {}},
                                                {"B", "../x", 1, {}}, {std::string(128, 'B'), "1-2", 1, {}}};
    for (auto const& device : bad)
        EXPECT_THROW(VrelRig::RigTemplate({good, device}), std::runtime_error)
            << device.serial << ' ' << device.path;
}

} // namespace
