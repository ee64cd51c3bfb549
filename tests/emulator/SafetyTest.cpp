#include "tests/emulator/EmulatorFixture.h"

#include "emulator/Files.h"
#include "emulator/RigActions.h"
#include "emulator/Text.h"

#include <sys/stat.h>
#include <unistd.h>

using testing::HasSubstr;

namespace {

using SafetyTest = HeldRigTest;

/** Something of a rig that a link to the same outside it replaces, and an operation that needs it. */
struct Linked
{
    char const* place;
    char const* operation;
    char const* cause = "symbolic link";
};

Linked const kLinked[] = {
    {"devices", "idDevice"},
    {"devices/0A1B2C3D", "idDevice", "No device"},
    {"devices/0A1B2C3D/device.json", "idDevice"},
    {"devices/0A1B2C3D/lifecycle.json", "setDeviceLifecycleStage"},
    {"devices/0A1B2C3D/start-over.json", "startOver"},
    {"devices/0A1B2C3D/tokens", "writeToken"},
    {"devices/0A1B2C3D/tokens/slot-15.bin", "writeToken"},
    {"devices/0A1B2C3D/tokens/slot-15.bin", "readToken"},
    {"devices/0A1B2C3D/tokens/slot-15.bin", "eraseToken"},
    {"devices/0A1B2C3D/firmware", "fwRecovery"},
    {"devices/0A1B2C3D/provisioning", "oemIfpProvision"},
    {"devices/0A1B2C3D/provisioning/capabilities-0.bin", "setCapabilities", "no regular file"},
    {"devices/0A1B2C3D/storage", "getCardInfo"},
    {"devices/0A1B2C3D/storage/emmc-0", "clearRpmb"},
    {"devices/0A1B2C3D/storage/emmc-0/rpmb.img", "clearRpmb"},
    {"devices/0A1B2C3D/storage/emmc-0/partition-0.img", "readBootMedia"},
    {"devices/0A1B2C3D/storage/emmc-0/ext_csd.hex", "getCardInfo"},
    {"devices/0A1B2C3D/storage/emmc-0/partitions.xml", "configPartitions", "already configured"},
};

TEST_F(SafetyTest, noLinkLeadsOutOfTheRig)
{
    auto const outside = (m_directory / "outside").string();
    auto const target = (m_directory / "target").string();
    auto const input = makeFile("input", "production");
    auto const config = makeFile("config", "<partitions/>");
    put(deviceFile("tokens/slot-15.bin"), "token");
    for (auto const& [place, name, cause] : kLinked) {
        SCOPED_TRACE(std::string(place) + ' ' + name);
        bool const isThere = std::filesystem::exists(rigFile(place));
        if (isThere)
            std::filesystem::rename(rigFile(place), outside);
        else
            put(outside, "{}");
        std::filesystem::create_symlink(outside, rigFile(place));
        auto const before = treeOf(m_rig);
        auto const behind =
            std::filesystem::is_directory(outside) ? treeOf(outside) : std::vector{contentOf(outside)};
        for (auto const& operation : deviceOperations()) {
            auto const& given = std::string(name) == "configPartitions" ? config : input;
            if (std::string(operation.name) == name)
                expect(operation.call(*m_api,
                                      {m_module.c_str(), given.c_str(), target.c_str(), kFirst, m_error}),
                       cause);
        }
        EXPECT_EQ(treeOf(m_rig), before);
        EXPECT_EQ(std::filesystem::is_directory(outside) ? treeOf(outside) : std::vector{contentOf(outside)},
                  behind);
        std::filesystem::remove(rigFile(place));
        if (isThere)
            std::filesystem::rename(outside, rigFile(place));
        std::filesystem::remove(outside);
    }
}

TEST_F(SafetyTest, aDeviceThatVanishesFailsItsOperation)
{
    auto const vanish = [](unsigned long, char const* text, void* context) {
        if (std::string(text) == "TX clearRpmb")
            std::filesystem::rename(*static_cast<std::string*>(context),
                                    *static_cast<std::string*>(context) + "2");
    };
    auto device = deviceFile("");
    device.pop_back();
    EXPECT_NE(m_api->clearRpmb(m_module.c_str(), kEmmc, 0, kFirst, m_error, vanish, &device), 0);
    EXPECT_THAT(m_error, HasSubstr("'0A1B2C3D' was unplugged"));
}

TEST_F(SafetyTest, aFileThatChangesWhileItIsReadIsNoInput)
{
    auto const path = makeFile("token", std::string(100000, 't'));
    VrelRig::InputFile const shortened(path);
    ASSERT_EQ(::truncate(path.c_str(), 70000), 0);
    EXPECT_THROW(shortened.content(100000), VrelRig::RigError);
    VrelRig::InputFile const rewritten(path);
    auto const rewrite = [&](std::string_view) { std::filesystem::last_write_time(path, {}); };
    EXPECT_THROW(rewritten.read(0, 70000, rewrite), VrelRig::RigError);
}

TEST_F(SafetyTest, aTargetKeepsItsPermissionsButNoMore)
{
    put(deviceFile("tokens/slot-0.bin"), "token");
    ::umask(022);
    auto const target = (m_directory / "target").string();
    for (auto const& [old, expected] :
         {std::pair(0U, 0644U), {0600U, 0600U}, {0666U, 0666U}, {06755U, 0755U}}) {
        std::filesystem::remove(target);
        if (old != 0) {
            put(target, "old");
            ::chmod(target.c_str(), old);
        }
        expect(run(&IVrelAPI::readToken, target.c_str(), kZero, kFirst), "");
        struct stat status = {};
        ASSERT_EQ(::stat(target.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, expected);
    }
}

TEST_F(SafetyTest, devicesArePluggedInAndOutWhileTheRigIsHeld)
{
    auto const list = [&] {
        auto const devices = std::make_unique<VrelDeviceList>();
        EXPECT_EQ(m_api->listDevices(devices.get(), m_error), 0);
        auto const isInTree = std::filesystem::exists(rigFile("sysfs/1-4.2/idVendor"));
        EXPECT_EQ(std::filesystem::is_symlink(rigFile("sysfs/1-4.2:1.0")), isInTree);
        return devices->count + (isInTree ? 10U : 0U);
    };
    auto const plug = [&](std::string const& serial) { VrelRig::plugDevice(m_rig, serial); };
    auto const unplug = [&](std::string const& serial) { VrelRig::unplugDevice(m_rig, serial); };
    using VrelRig::RigError;
    EXPECT_THROW(plug(kFirst), RigError);
    EXPECT_EQ(list(), 12U);
    unplug(kFirst);
    EXPECT_EQ(list(), 1U);
    EXPECT_NE(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), 0);
    for (char const* const serial : {kFirst, "unknown", "", "..", "../devices", "0A1B2C3D/tokens"})
        EXPECT_THROW(unplug(serial), RigError) << serial;
    std::filesystem::create_directory(rigFile("sysfs/1-4.2"));
    EXPECT_THROW(plug(kFirst), RigError);
    std::filesystem::remove(rigFile("sysfs/1-4.2"));
    plug(kFirst);
    EXPECT_EQ(list(), 12U);
    EXPECT_EQ(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), 0) << m_error;
    EXPECT_THROW(VrelRig::unplugDevice(m_directory.string(), "rig"), RigError);
}

} // namespace
