#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tests/support/FakeApi.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <thread>

namespace {

class ManagerTest : public ::testing::Test
{
protected:
    static int acquired() { return vendorHolds().acquired; }
    static int released() { return vendorHolds().released; }

    FakeApi m_api;
    LogRecorder m_log;
};

TEST_F(ManagerTest, FreshManagerGivesBackOnceAndSilently)
{
    VrelManager().logHandler();
    EXPECT_EQ(acquired(), 0);
    EXPECT_EQ(released(), 1);
    EXPECT_EQ(m_log.lines(), Lines());
}

TEST_F(ManagerTest, ApiIsTakenWithTheFirstHandleAndGivenBackWithTheLastCopy)
{
    VrelManager manager;
    {
        auto first = std::make_unique<VrelApiManager>(manager.fetchApi());
        VrelApiManager second = manager.fetchApi();
        EXPECT_EQ(acquired(), 1);
        EXPECT_EQ(second.operator->(), &m_api);
        std::vector<VrelApiManager> copies(10, *first);
        first.reset();
        copies.clear();
        EXPECT_EQ(released(), 0);
        second = VrelApiManager();
        EXPECT_EQ(released(), 1);
    }
    EXPECT_EQ(released(), 1);
    VrelApiManager const again = manager.fetchApi();
    EXPECT_EQ(acquired(), 2);
}

TEST_F(ManagerTest, HandleWithoutApiTestsFalseAndEachFetchTriesAgain)
{
    vendorHolds().api = nullptr;
    VrelManager manager;
    VrelApiManager const first = manager.fetchApi();
    EXPECT_FALSE(first);
    EXPECT_TRUE(!first);
    EXPECT_EQ(first.operator->(), nullptr);
    vendorHolds().api = &m_api;
    VrelApiManager const second = manager.fetchApi();
    EXPECT_TRUE(second);
    EXPECT_FALSE(first);
    EXPECT_EQ(acquired(), 2);
}

TEST_F(ManagerTest, ManagerDeletedWhileInUseWarnsAndLeavesHandlesDroppable)
{
    auto manager = std::make_unique<VrelManager>();
    auto handle = std::make_unique<VrelApiManager>(manager->fetchApi());
    manager.reset();
    ASSERT_EQ(m_log.lines(), Lines{"2 Vrel Manager deleted while in use"});
    EXPECT_EQ(m_log.records().front().prefix, QStringLiteral("Vrel Manager"));
    EXPECT_EQ(m_log.records().front().name, QStringLiteral("Vrel Manager"));
    EXPECT_EQ(released(), 1);
    handle.reset();
    EXPECT_EQ(released(), 1) << "a dead manager was called";
}

TEST_F(ManagerTest, LateHandleDoesNotCountAgainstAnotherManagerAtTheSameAddress)
{
    alignas(VrelManager) unsigned char storage[sizeof(VrelManager)];
    auto* manager = new (storage) VrelManager;
    auto stale = std::make_unique<VrelApiManager>(manager->fetchApi());
    manager->~VrelManager();
    manager = new (storage) VrelManager;
    VrelApiManager const current = manager->fetchApi();
    int const before = released();
    stale.reset();
    EXPECT_EQ(released(), before) << "the new manager lost its API object";
    manager->~VrelManager();
}

TEST_F(ManagerTest, AssignmentMovesBetweenStatesAndIgnoresItself)
{
    VrelManager first;
    VrelManager second;
    VrelApiManager a = first.fetchApi();
    VrelApiManager b = second.fetchApi();
    VrelApiManager const sharesA = a;
    a = sharesA;
    a = *&a;
    EXPECT_EQ(released(), 0);
    a = b;
    EXPECT_EQ(released(), 0) << "a copy still shares the first state";
    b = VrelApiManager();
    EXPECT_EQ(released(), 0);
    a = b;
    EXPECT_EQ(released(), 1);
}

TEST_F(ManagerTest, HandlesAndManagersFromManyThreads)
{
    constexpr int kRounds = 200;
    for (int round = 0; round < kRounds; ++round) {
        auto manager = std::make_unique<VrelManager>();
        VrelApiManager shared = manager->fetchApi();
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&manager, copy = shared] {
                VrelApiManager mine = manager->fetchApi();
                VrelApiManager other = copy;
                mine = other;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        // The drop and the destruction race.
        std::thread dropper([last = std::make_unique<VrelApiManager>(shared)]() mutable { last.reset(); });
        shared = VrelApiManager();
        manager.reset();
        dropper.join();
    }
}

/** A manager whose handles do something else when they go. */
class OtherManager : public VrelManager
{
public:
    explicit OtherManager(std::function<void()> onRelease)
        : m_onRelease(std::move(onRelease))
    {
    }

    VrelApiManager handle()
    {
        return VrelApiManager(nullptr, this,
                              static_cast<void (VrelManager::*)()>(&OtherManager::releaseHandle));
    }

private:
    void releaseHandle() { m_onRelease(); }

    std::function<void()> const m_onRelease;
};

// Fails by a time-out: whatever was held over the callback would be waited for.
TEST_F(ManagerTest, ReleaseCallbackMayDropAnotherHandleOrTheManager)
{
    std::unique_ptr<VrelApiManager> other;
    std::unique_ptr<OtherManager> manager;
    int calls = 0;
    manager = std::make_unique<OtherManager>([&] {
        if (++calls == 1)
            other.reset();
        else
            manager.reset();
    });
    other = std::make_unique<VrelApiManager>(manager->handle());
    VrelApiManager late = manager->handle();
    VrelApiManager(manager->handle());
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(manager, nullptr);
    late = VrelApiManager();
    EXPECT_EQ(calls, 2) << "a dead manager was called";
}

TEST_F(ManagerTest, HandleWithoutCallbackNeverLooksIntoItsManager)
{
    int nothing = 0;
    VrelApiManager(&m_api, reinterpret_cast<VrelManager*>(&nothing), nullptr); // ASan sees a look
}

TEST_F(ManagerTest, VersionText)
{
    struct Case
    {
        char const* text;
        int length;
        char const* expected;
    };
    std::string const longText(256, 'x');
    Case const cases[] = {
        {"", 0, "1.0.0.0 (API: )"},
        {"2.1.0", -1, "1.0.0.0 (API: 2.1.0)"},
        {"2.1.0", 3, "1.0.0.0 (API: 2.1)"},
        {"2.1.0", -7, "1.0.0.0 (API: )"},
        {"\xB5", 1, "1.0.0.0 (API: \xC2\xB5)"},
    };
    for (Case const& entry : cases) {
        m_api.version = {};
        std::memcpy(m_api.version.versionText, entry.text, std::strlen(entry.text));
        m_api.version.textLength = entry.length;
        EXPECT_EQ(VrelManager::getVersion().toStdString(), entry.expected) << entry.length;
    }
    std::memcpy(m_api.version.versionText, longText.data(), longText.size());
    for (int const length : {-1, 256, 257, 2147483647}) {
        m_api.version.textLength = length;
        EXPECT_EQ(VrelManager::getVersion().toStdString(), "1.0.0.0 (API: " + longText + ")");
    }
    EXPECT_EQ(acquired(), released());
    vendorHolds().api = nullptr;
    EXPECT_EQ(VrelManager::getVersion(), QStringLiteral("1.0.0.0 (No API)"));
}

TEST(ManagerLibTest, BothFacesGiveTheSameTexts)
{
    EXPECT_STREQ(VrelManagerLib::getVersion(), "1.0.0.0");
    EXPECT_EQ(VrelManagerLib_getVersion(), VrelManagerLib::getVersion());
    EXPECT_EQ(VrelManagerLib_getBuildDate(), VrelManagerLib::getBuildDate());
}

class DeviceListTest : public ManagerTest
{
protected:
    VrelManager m_manager;
    VrelApiManager m_handle = m_manager.fetchApi();
    std::map<QString, QString> m_devices{{QStringLiteral("old"), QStringLiteral("entry")}};
};

TEST_F(DeviceListTest, MapsLocationsToSerials)
{
    m_api.addDevice("A1", 1, {4, 2});
    m_api.addDevice("B2", 3, {});
    m_api.addDevice("C3", 1, {4, 2});
    m_api.addDevice("D4", 255, {1, 2, 3, 4, 5, 6, 255});
    EXPECT_EQ(m_handle.getDeviceList(m_devices), 0);
    std::map<QString, QString> const expected{{QStringLiteral("1-4.2"), QStringLiteral("A1")},
                                              {QStringLiteral("3"), QStringLiteral("B2")},
                                              {QStringLiteral("255-1.2.3.4.5.6.255"), QStringLiteral("D4")}};
    EXPECT_EQ(m_devices, expected);
}

TEST_F(DeviceListTest, BoundsWhatTheVendorLibraryClaims)
{
    for (std::uint8_t i = 0; i < 24; ++i)
        m_api.addDevice("", 1, {i});
    std::memset(m_api.devices.names, 'n', sizeof m_api.devices.names);
    m_api.devices.locations[0].portCount = -1;
    m_api.devices.locations[1].portCount = 1000;
    std::memset(m_api.devices.locations[1].ports, 9, sizeof m_api.devices.locations[1].ports);
    m_api.devices.count = 25;
    EXPECT_EQ(m_handle.getDeviceList(m_devices), 0);
    EXPECT_EQ(m_devices.size(), 24U);
    EXPECT_EQ(m_devices.at(QStringLiteral("1")), QString(128, QLatin1Char('n')));
    EXPECT_EQ(m_devices.count(QStringLiteral("1-9.9.9.9.9.9.9")), 1U);
    m_api.devices.count = 0xFFFFFFFFU;
    EXPECT_EQ(m_handle.getDeviceList(m_devices), 0);
    EXPECT_TRUE(m_devices.empty());
}

TEST_F(DeviceListTest, FailuresEmptyTheMapAndKeepTheCode)
{
    m_api.result = -5;
    m_api.errorText = QByteArray("no \xC2\xB5", 6);
    QString error;
    EXPECT_EQ(m_handle.getDeviceList(m_devices, error), -5);
    EXPECT_EQ(error.toStdString(), "no \xC2\xB5");
    EXPECT_TRUE(m_devices.empty());

    m_api.errorText = QByteArray(kVrelErrorTextSize, 'e');
    m_handle.getDeviceList(m_devices, error);
    EXPECT_EQ(error.size(), 1024);

    m_devices.emplace(QStringLiteral("old"), QString());
    error = QStringLiteral("kept");
    EXPECT_EQ(VrelApiManager().getDeviceList(m_devices, error), -1);
    EXPECT_EQ(error, QStringLiteral("kept"));
    EXPECT_TRUE(m_devices.empty());
}

} // namespace
