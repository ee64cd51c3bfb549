#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tests/support/FakeVendor.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

namespace {

class ManagerTest : public ::testing::Test
{
protected:
    FakeVendor m_vendor;
    LogRecorder m_log;
};

TEST_F(ManagerTest, ApiIsTakenWithTheFirstHandleAndGivenBackWithTheLastCopy)
{
    {
        VrelManager manager;
        {
            auto first = std::make_unique<VrelApiManager>(manager.fetchApi());
            VrelApiManager second = manager.fetchApi();
            EXPECT_EQ(m_vendor.acquired, 1);
            EXPECT_EQ(second.operator->(), m_vendor.api());
            std::vector<VrelApiManager> copies(10, *first);
            first.reset();
            copies.clear();
            EXPECT_EQ(m_vendor.released, 0);
            second = VrelApiManager();
            EXPECT_EQ(m_vendor.released, 1);
        }
        EXPECT_EQ(m_vendor.released, 1);
        manager.fetchApi();
        EXPECT_EQ(m_vendor.acquired, 2);
        EXPECT_EQ(m_vendor.released, 2);
    }
    EXPECT_EQ(m_vendor.released, 3) << "a manager gives back once more when it goes";
    EXPECT_EQ(m_log.lines(), Lines());
}

TEST_F(ManagerTest, HandleWithoutApiTestsFalseAndEachFetchTriesAgain)
{
    m_vendor.isThere = false;
    VrelManager manager;
    VrelApiManager const first = manager.fetchApi();
    EXPECT_FALSE(first);
    EXPECT_TRUE(!first);
    EXPECT_EQ(first.operator->(), nullptr);
    m_vendor.isThere = true;
    VrelApiManager const second = manager.fetchApi();
    EXPECT_TRUE(second);
    EXPECT_FALSE(first);
    EXPECT_EQ(m_vendor.acquired, 2);
}

/** Nor does a handle that comes late count against another manager at the same address. */
TEST_F(ManagerTest, ManagerDeletedWhileInUseWarnsAndLeavesHandlesDroppable)
{
    alignas(VrelManager) unsigned char storage[sizeof(VrelManager)];
    auto* manager = new (storage) VrelManager;
    auto stale = std::make_unique<VrelApiManager>(manager->fetchApi());
    manager->~VrelManager();
    ASSERT_EQ(m_log.lines(), Lines{"2 Vrel Manager deleted while in use"});
    EXPECT_EQ(m_log.records().front().prefix + m_log.records().front().name,
              QStringLiteral("Vrel ManagerVrel Manager"));
    manager = new (storage) VrelManager;
    VrelApiManager const current = manager->fetchApi();
    EXPECT_EQ(m_vendor.released, 1);
    stale.reset();
    EXPECT_EQ(m_vendor.released, 1) << "the new manager lost its API object";
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
    a = b;
    EXPECT_EQ(m_vendor.released, 0) << "a copy still shares the first state";
    b = VrelApiManager();
    EXPECT_EQ(m_vendor.released, 0);
    a = b;
    EXPECT_EQ(m_vendor.released, 1);
}

TEST_F(ManagerTest, HandlesAndManagersFromManyThreads)
{
    for (int round = 0; round < 200; ++round) {
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
    VrelApiManager(m_vendor.api(), reinterpret_cast<VrelManager*>(&nothing), nullptr); // ASan sees a look
}

TEST_F(ManagerTest, VersionTextIsLatin1OfABoundedLength)
{
    std::string const full(256, 'x');
    struct
    {
        std::string text;
        int length;
        std::string expected;
    } const cases[] = {
        {"", 0, ""},
        {"2.1.0", -1, "2.1.0"},
        {"2.1.0", 3, "2.1"},
        {"2.1.0", -2, ""},
        {"2.1.0", INT_MIN, ""},
        {"\xB5", 1, "\xC2\xB5"},
        {std::string("a\0b", 3), 3, std::string("a\0b", 3)},
        {full, -1, full},
        {full, 257, full},
        {full, INT_MAX, full},
    };
    for (auto const& [text, length, expected] : cases) {
        text.copy(m_vendor.version.versionText, text.size() + 1);
        m_vendor.version.versionText[std::min<std::size_t>(text.size(), 255)] =
            text.size() < 256 ? '\0' : 'x';
        m_vendor.version.textLength = length;
        EXPECT_EQ(VrelManager::getVersion().toStdString(), "1.0.0.0 (API: " + expected + ")") << length;
    }
    EXPECT_EQ(m_vendor.acquired, m_vendor.released);
    m_vendor.isThere = false;
    EXPECT_EQ(VrelManager::getVersion(), QStringLiteral("1.0.0.0 (No API)"));
    EXPECT_EQ(VrelManagerLib_getVersion(), VrelManagerLib::getVersion());
    EXPECT_EQ(VrelManagerLib_getBuildDate(), VrelManagerLib::getBuildDate());
}

class DeviceListTest : public ManagerTest
{
protected:
    /** "LOCATION=SERIAL …" of a list that was asked for anew, and the result when that is not 0. */
    std::string list()
    {
        m_devices.emplace(QStringLiteral("old"), QStringLiteral("entry"));
        int const result = m_handle.getDeviceList(m_devices, m_error);
        std::string text = result == 0 ? "" : std::to_string(result);
        for (auto const& [location, serial] : m_devices)
            text += (location + QLatin1Char('=') + serial + QLatin1Char(' ')).toStdString();
        return text;
    }

    VrelManager m_manager;
    VrelApiManager m_handle = m_manager.fetchApi();
    std::map<QString, QString> m_devices;
    QString m_error = QStringLiteral("kept");
};

TEST_F(DeviceListTest, MapsLocationsToSerials)
{
    m_vendor.obey("device 1-4.2 A1\ndevice 3 B2\ndevice 1-4.2 C3\ndevice 255-1.2.3.4.5.6.255 \xFF\x80");
    EXPECT_EQ(list(), "1-4.2=A1 255-1.2.3.4.5.6.255=\xEF\xBF\xBD\xEF\xBF\xBD 3=B2 ");
    m_vendor.listsDevices = false; // though it claims success
    EXPECT_EQ(list(), "");
    EXPECT_EQ(m_vendor.calls, std::vector<std::string>(2, "listDevices"));
}

TEST_F(DeviceListTest, BoundsWhatTheVendorLibraryClaims)
{
    for (int i = 0; i < 24; ++i)
        m_vendor.addDevice("1-4." + std::to_string(i), std::string(128, 'n'));
    m_vendor.devices.locations[0].portCount = INT_MIN;
    m_vendor.devices.locations[1].portCount = INT_MAX;
    std::pair<std::uint32_t, std::size_t> const counts[] = {
        {0, 0}, {23, 23}, {25, 24}, {INT_MAX, 24}, {0x80000000U, 0}, {0xFFFFFFFFU, 0}};
    for (auto const& [count, listed] : counts) {
        m_vendor.devices.count = count;
        std::string const text = list();
        EXPECT_EQ(m_devices.size(), listed) << count;
        std::string const start = "1=" + std::string(128, 'n') + " 1-4.1.0.0.0.0.0=";
        EXPECT_EQ(text.rfind(start, 0), listed == 0 ? std::string::npos : 0U) << text;
    }
}

TEST_F(DeviceListTest, FailuresEmptyTheMapAndKeepTheCode)
{
    m_vendor.obey("device 1-1 not listed");
    m_vendor.errorText = std::string("no \xC2\xB5\0", 6);
    for (int const result : {INT_MIN, -5, -1, 1, 256, INT_MAX}) {
        m_vendor.result = result;
        EXPECT_EQ(list(), std::to_string(result));
        EXPECT_EQ(m_error.toStdString(), "no \xC2\xB5");
    }
    m_vendor.errorText = std::string(kVrelErrorTextSize, 'e');
    list();
    EXPECT_EQ(m_error.size(), 1024);
    m_handle = VrelApiManager();
    EXPECT_EQ(list(), "-1");
    EXPECT_EQ(m_error.size(), 1024) << "an error text without an API object";
}

} // namespace
