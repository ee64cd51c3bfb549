#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "plugin/VrelVersion.h"
#include "tests/support/FakeVendor.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <new>
#include <thread>

namespace {

thread_local bool t_hasMemory = true;

} // namespace

void* operator new(std::size_t size)
{
    void* const memory = t_hasMemory ? std::malloc(size) : nullptr;
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

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

    m_vendor.isThere = false;
    auto other = std::make_unique<VrelManager>();
    VrelApiManager const stale = other->fetchApi();
    other.reset();
    EXPECT_EQ(m_log.lines(), Lines{"2 Vrel Manager deleted while in use"})
        << "by a handle, though without API";
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
    VrelApiManager alone = first.fetchApi();
    alone = *&alone;
    EXPECT_TRUE(alone);
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

/** A manager whose handles go slowly. */
class SlowManager : public VrelManager
{
public:
    VrelApiManager handle()
    {
        return VrelApiManager(nullptr, this, static_cast<void (VrelManager::*)()>(&SlowManager::drop));
    }

    static inline std::atomic<int> s_stage{0}; ///< of the drop: begun, done

private:
    void drop()
    {
        s_stage = 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        s_stage = 2;
    }
};

TEST_F(ManagerTest, ItsEndWaitsForADropOnAnotherThread)
{
    auto manager = std::make_unique<SlowManager>();
    std::thread dropper(
        [handle = std::make_unique<VrelApiManager>(manager->handle())]() mutable { handle.reset(); });
    while (SlowManager::s_stage == 0)
        std::this_thread::yield();
    manager.reset();
    EXPECT_EQ(SlowManager::s_stage, 2);
    dropper.join();
}

TEST_F(ManagerTest, WantOfMemoryLeavesNothingHeld)
{
    VrelManager manager;
    t_hasMemory = false;
    EXPECT_THROW(manager.fetchApi(), std::bad_alloc);
    t_hasMemory = true;
    EXPECT_EQ(m_vendor.acquired, 1);
    EXPECT_EQ(m_vendor.released, 1);
}

/** Without its code, too: what a host keeps lies there. */
TEST(LibraryTest, ResultsOutliveIt)
{
    void* const library = ::dlopen(VREL_LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    auto const getVersion =
        reinterpret_cast<char const* (*) ()>(::dlsym(library, "VrelManagerLib_getVersion"));
    char const* const version = getVersion();
    ASSERT_NE(version, VrelManagerLib_getVersion());
    ::dlclose(library);
    EXPECT_STREQ(version, "1.0.0.0");
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
#if VREL_VERSION < VREL_VERSION_CHECK(1, 0, 0, 0) || VREL_VERSION >= VREL_VERSION_CHECK(1, 0, 0, 1)
#error the number is not that of the text
#endif
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

TEST_F(DeviceListTest, RefusesMoreThanItsRecordHolds)
{
    for (int i = 0; i < 24; ++i)
        m_vendor.addDevice("1-4." + std::to_string(i), std::string(128, 'n'));
    EXPECT_EQ(list().rfind("1-4.0=" + std::string(128, 'n') + " 1-4.1=", 0), 0U);
    EXPECT_EQ(m_devices.size(), 24U);
    for (std::uint32_t const count : {25U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        m_vendor.devices.count = count;
        EXPECT_EQ(list(), "-2") << count;
        EXPECT_EQ(m_error.toStdString(),
                  "The vendor API lists " + std::to_string(count) + " devices, of at most 24");
    }
    m_vendor.devices.count = 24;
    for (std::int32_t const ports : {8, -1, INT_MIN, INT_MAX}) {
        m_vendor.devices.locations[23].portCount = ports;
        EXPECT_EQ(list(), "-2") << ports;
        EXPECT_EQ(m_error.toStdString(),
                  "The vendor API lists a device behind " + std::to_string(ports) + " ports, of at most 7");
    }
    m_vendor.devices.count = 23;
    EXPECT_EQ(list().substr(0, 2), "1-") << "what is not listed does not count";
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
