#include "tests/emulator/EmulatorFixture.h"

#include "emulator/RigActions.h"
#include "emulator/RigHold.h"
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

/** @return why the environment's rig cannot be taken, which checking tells without taking it */
std::string whyNot()
{
    auto const rig = VrelRig::RigHold::configuredRoot();
    auto const checked = errorOf([&] { VrelRig::checkRig(rig); });
    EXPECT_EQ(acquireAsExitCode() == 0, checked.empty()) << checked;
    api_release();
    return checked;
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

TEST_F(HoldTest, takesNewAndEmptyDirectoriesAndLeavesAnythingElseAsItIs)
{
    struct Case
    {
        char const* prepare;
        char const* cause;
    };
    Case const cases[] = {
        {"mkdir rig", ""},
        {"mkdir real && ln -s real rig", ""},
        {"cp -r made rig && rm -r rig/sysfs", ""},
        {"mkdir -p rig/devices", "no rig"},
        {"mkdir rig && touch rig/.vrel-rig rig/mine", "no rig"},
        {"mkdir rig && echo mine >rig/.vrel-rig", "no rig"},
        {"mkdir rig && mkfifo rig/.vrel-rig", "no regular file"},
        {"cp -r made rig && mv rig/.vrel-rig . && ln -s ../.vrel-rig rig", "symbolic link"},
        {"cp -r made rig && mv rig/.tmp . && touch .tmp/mine && ln -s ../.tmp rig", "symbolic link"},
        {"cp -r made rig && mv rig/devices . && ln -s ../devices rig", "symbolic link"},
        {"cp -r made rig && mv rig/sysfs . && ln -s ../sysfs rig", "symbolic link"},
        {"touch rig", "Not a directory"},
        {"ln -s nowhere rig", "'rig'"},
    };
    std::filesystem::current_path(m_directory);
    ::setenv("VREL_RIG", "rig", 1);
    VrelRig::createRig("made", VrelRig::standardDevices());
    for (auto const& [prepare, cause] : cases) {
        SCOPED_TRACE(prepare);
        ASSERT_EQ(std::system(prepare), 0);
        auto const before = treeOf(m_directory);
        auto const found = whyNot();
        EXPECT_THAT(found, HasSubstr(cause));
        EXPECT_EQ(found.empty(), *cause == '\0');
        if (found.empty())
            EXPECT_EQ(contentOf("rig/sysfs/2-1/idProduct"), "3d44\n");
        else
            EXPECT_EQ(treeOf(m_directory), before);
        ASSERT_EQ(std::system("rm -rf rig real .vrel-rig .tmp devices sysfs"), 0);
    }
}

TEST_F(HoldTest, makesItsFilesForTheUsersOfTheDirectoryAndKeepsThoseOfOthers)
{
    auto const modeOf = [](std::string const& path) {
        struct stat status = {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    };
    ::umask(022);
    for (auto const mode : {0700U, 02770U}) {
        std::filesystem::remove_all(m_rig);
        ASSERT_EQ(::mkdir(m_rig.c_str(), 0700) + ::chmod(m_rig.c_str(), mode), 0);
        EXPECT_EQ(whyNot(), "");
        EXPECT_EQ(modeOf(m_rig), mode);
        EXPECT_EQ(modeOf(rigFile("devices/0A1B2C3D")), mode & ~022U);
        EXPECT_EQ(modeOf(rigFile("devices/0A1B2C3D/device.json")), mode & 0640U);
    }
    put(rigFile(".tmp/vrel-1-0"), "mine");
    makeFile(".rig.new", "mine");
    EXPECT_EQ(whyNot(), "");
    EXPECT_EQ(contentOf(rigFile(".tmp/vrel-1-0")) + contentOf((m_directory / ".rig.new").string()),
              "minemine");
}

TEST_F(HoldTest, tellsThatPermissionIsMissing)
{
    ASSERT_EQ(::chmod(m_directory.c_str(), 0755) + ::mkdir(m_rig.c_str(), 0755), 0);
    auto const deniedToOthers = [&] {
        return waitForChild(runInChild([] {
            if (::geteuid() == 0 && ::seteuid(65534) != 0)
                return 1;
            ::chmod(std::getenv("VREL_RIG"), 0555); // of a user who is not root
            return whyNot().find("Permission denied") == std::string::npos ? 2
                                                                           : int(testing::Test::HasFailure());
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
    EXPECT_EQ(whyNot(), "");
}

TEST_F(HoldTest, findsTheRigWithoutVariable)
{
    ::unsetenv("VREL_RIG");
    ::setenv("XDG_STATE_HOME", "/state", 1);
    EXPECT_EQ(VrelRig::RigHold::configuredRoot(), "/state/vrel/rig");
    ::setenv("XDG_STATE_HOME", "not-absolute", 1);
    ::setenv("HOME", "/home/user", 1);
    EXPECT_EQ(VrelRig::RigHold::configuredRoot(), "/home/user/.local/state/vrel/rig");
    ::unsetenv("HOME");
    EXPECT_THAT(errorOf([] { VrelRig::RigHold::take(); }), HasSubstr("neither VREL_RIG nor HOME"));
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
