#include "tests/emulator/EmulatorFixture.h"

#include "emulator/JsonFile.h"

#include <csignal>
#include <thread>

namespace {

using AtomicityTest = EmulatorTest;

void killAfter(int child, std::chrono::microseconds time)
{
    std::this_thread::sleep_for(time);
    ::kill(child, SIGKILL);
    waitForChild(child);
}

TEST_F(AtomicityTest, aKilledMakerLeavesNoHalfRig)
{
    constexpr int kRounds = 24;
    auto const make = [] { return api_acquire() == nullptr ? 1 : 0; };
    auto const start = std::chrono::steady_clock::now();
    ASSERT_EQ(waitForChild(runInChild(make)), 0);
    auto const duration = std::chrono::steady_clock::now() - start;
    int interrupted = 0;
    for (int round = 0; round < kRounds; ++round) {
        std::filesystem::remove_all(m_rig);
        killAfter(runInChild(make),
                  std::chrono::duration_cast<std::chrono::microseconds>(duration * round / kRounds));
        if (std::filesystem::exists(rigFile("devices")))
            EXPECT_TRUE(std::filesystem::exists(rigFile("sysfs/2-1/speed"))) << round;
        else
            ++interrupted;
        auto* const api = api_acquire();
        ASSERT_NE(api, nullptr) << round;
        VrelDeviceList list = {};
        EXPECT_EQ(api->listDevices(&list, nullptr), 0);
        EXPECT_EQ(list.count, 2U);
        api_release();
        EXPECT_TRUE(std::filesystem::is_empty(rigFile(".tmp")));
    }
    EXPECT_GT(interrupted, 0);
}

TEST_F(AtomicityTest, aKilledWriterLeavesOldOrNew)
{
    std::string const contents[] = {std::string(300000, 'a'), std::string(200000, 'b')};
    std::string const files[] = {makeFile("a", contents[0]), makeFile("b", contents[1])};
    auto const device = rigFile(std::string("devices/") + kFirst);
    auto const rpmb = device + "/storage/emmc-0/rpmb.img";
    auto const target = (m_directory / "target").string();
    auto const writeForEver = [&]() -> int {
        auto* const api = api_acquire();
        for (unsigned i = 0; api != nullptr; ++i) {
            api->writeToken(m_module.c_str(), files[i % 2].c_str(), 1, kFirst, nullptr, nullptr, nullptr);
            api->oemIfpProvision(m_module.c_str(), files[i % 2].c_str(), kFirst, nullptr, nullptr, nullptr);
            api->readToken(m_module.c_str(), target.c_str(), 1, kFirst, nullptr, nullptr, nullptr);
            api->clearRpmb(m_module.c_str(), 2, 0, kFirst, nullptr, nullptr, nullptr);
        }
        return 1;
    };
    ASSERT_NE(api_acquire(), nullptr);
    api_release();
    auto const oldRpmb = contentOf(rpmb);
    auto const isWhole = [&](std::string const& content) {
        return content == contents[0] || content == contents[1];
    };
    for (int round = 0; round < 60; ++round) {
        killAfter(runInChild(writeForEver), std::chrono::microseconds(1000 + round * 433));
        ASSERT_NE(api_acquire(), nullptr) << "the hold outlived its process";
        api_release();
        EXPECT_TRUE(std::filesystem::is_empty(rigFile(".tmp")));
        for (auto const& path : {device + "/tokens/slot-1.bin", target}) {
            if (std::filesystem::exists(path)) {
                EXPECT_TRUE(isWhole(contentOf(path))) << path;
            }
        }
        if (std::filesystem::exists(device + "/provisioning/oem-ifp.json")) {
            VrelRig::JsonFile const record(VrelRig::Directory(device + "/provisioning"), "oem-ifp.json");
            auto const content = contentOf(device + "/provisioning/" + record.text("content"));
            EXPECT_EQ(content.size(), record.number("size"));
            EXPECT_TRUE(isWhole(content));
        }
        auto const newRpmb = contentOf(rpmb);
        EXPECT_TRUE(newRpmb == oldRpmb || newRpmb == std::string(oldRpmb.size(), '\0'));
    }
}

} // namespace
