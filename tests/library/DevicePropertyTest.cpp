#include "devices/VrelDevicePropertyManager.h"
#include "devices/VrelDevicePropertyManagerAllocator.h"
#include "external/Device.h"
#include "external/DeviceManagerProgramTool.h"
#include "plugin/VrelManager.h"
#include "tests/support/FakeApi.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>

#include <csignal>
#include <functional>
#include <memory>

namespace {

bool fromApi()
{
    return true;
}

bool fromExe()
{
    return false;
}

/** Runs a shell script in place of the downloader; "$@" are the downloader's arguments. */
class ScriptTool : public DeviceManagerProgramTool
{
public:
    bool startProgram(QProcess& process, QStringList const& arguments) override
    {
        ++starts;
        process.start(QStringLiteral("/bin/sh"),
                      QStringList{QStringLiteral("-c"), script, QStringLiteral("downloader")} + arguments);
        pid = process.waitForStarted() ? process.processId() : 0;
        return isStarting;
    }

    QString script;
    bool isStarting = true;
    int starts = 0;
    qint64 pid = 0;
};

DummyDevice recoveryRecord()
{
    DummyDevice record;
    record.port = PortNumber(PortNumber::UsbConnection, QString());
    record.vendorId = 0x2C4E;
    record.productId = 0x3D46;
    record.kind = 1;
    record.properties[QStringLiteral("usb.devicePath")] = QStringLiteral("1-4.2");
    return record;
}

class DevicePropertyTest : public ::testing::Test
{
protected:
    using Manager = VrelDevicePropertyManager;

    DevicePropertyTest() { api.addDevice("AB12", 1, {4, 2}); }

    /** A manager for a device of this record. */
    Manager& make(DummyDevice const& record, bool (*useApi)(), DeviceManagerProgramTool* programTool)
    {
        device = std::make_unique<Device>(record);
        properties = std::make_unique<Manager>(&manager, programTool, useApi, nullptr, device.get(), record);
        return *properties;
    }

    Manager& make(bool (*useApi)()) { return make(recoveryRecord(), useApi, &tool); }

    /** Queries once more; "null" when there was no answer. */
    std::string query(char const* name = "vrel.serial")
    {
        QString value;
        static_cast<DevicePropertyManager&>(*properties).getProperty(QString::fromUtf8(name), value);
        return value.isNull() ? "null" : value.toStdString();
    }

    FakeApi api;
    LogRecorder recorder;
    VrelManager manager;
    ScriptTool tool;
    std::unique_ptr<Device> device;
    std::unique_ptr<Manager> properties;
};

TEST_F(DevicePropertyTest, AnswersOnlyForDevicesAndNamesThatItServes)
{
    struct Case
    {
        char const* name;
        std::function<void(DummyDevice&)> change;
        char const* expected;
    };
    auto const none = [](DummyDevice&) {};
    auto const otherKind = [](DummyDevice& record) { record.kind = 2; };
    Case const cases[] = {
        {"vrel.serial", none, "AB12"},
        {"serial", none, "AB12"},
        {"vrel.serial", otherKind, "AB12"},
        {"serial", otherKind, "null"},
        {"Serial", none, "null"},
        {"VREL.SERIAL", none, "null"},
        {"", none, "null"},
        {"usb.devicePath", none, "null"},
        {"vrel.serial", [](DummyDevice& record) { record.vendorId = 0x2C4F; }, "null"},
        {"serial", [](DummyDevice& record) { record.productId = 0x3D45; }, "null"},
        {"vrel.serial", [](DummyDevice& record) { record.port = PortNumber(2, QString()); }, "null"},
        {"vrel.serial", [](DummyDevice& record) { record.properties.clear(); }, "null"},
    };
    for (Case const& entry : cases) {
        DummyDevice record = recoveryRecord();
        entry.change(record);
        make(record, fromApi, nullptr);
        EXPECT_EQ(query(entry.name), entry.expected) << entry.name << ' ' << record.kind;
    }
    EXPECT_FALSE(properties->isBusy());
    EXPECT_EQ(recorder.lines(), Lines());
}

TEST_F(DevicePropertyTest, LeavesAnswersOfOthersAlone)
{
    make(fromApi);
    for (char const* const text : {"", "other"}) {
        QString value = QString::fromUtf8(text);
        properties->getProperty(QStringLiteral("vrel.serial"), value);
        EXPECT_EQ(value, QString::fromUtf8(text));
    }
    EXPECT_TRUE(api.calls.empty());
}

TEST_F(DevicePropertyTest, FetchesOnceFromEitherSource)
{
    tool.script = QStringLiteral("echo AB12");
    for (auto const source : {fromApi, fromExe}) {
        make(source);
        EXPECT_EQ(query(), "AB12");
        EXPECT_EQ(query(), "null") << "known, so not answered again";
        EXPECT_EQ(query("serial"), "null");
        QString first;
        QString second;
        EXPECT_TRUE(properties->updateSerialThoughApi(first));
        EXPECT_TRUE(properties->updateSerialThoughExe(second));
        EXPECT_EQ(first + second, QStringLiteral("AB12AB12"));
    }
    EXPECT_EQ(api.calls, std::vector<std::string>{"listDevices()"});
    EXPECT_EQ(tool.starts, 1);
    EXPECT_EQ(vendorHolds().acquired, vendorHolds().released) << "the API object was given back";
}

TEST_F(DevicePropertyTest, FailuresOfTheApiAreSilentAndTriedAgain)
{
    make(fromApi);
    vendorHolds().api = nullptr;
    EXPECT_EQ(query(), "null");
    vendorHolds().api = &api;
    api.result = 5;
    EXPECT_EQ(query(), "null");
    api.result = 0;
    api.devices.locations[0].ports[1] = 3;
    EXPECT_EQ(query(), "null") << "another device";
    api.devices.locations[0].ports[1] = 2;
    EXPECT_EQ(tool.starts, 0) << "there is no fall-back";
    EXPECT_EQ(query(), "AB12");
    EXPECT_EQ(recorder.lines(), Lines());
    EXPECT_EQ(vendorHolds().acquired, vendorHolds().released);
}

TEST_F(DevicePropertyTest, NothingIsFetchedWithoutManagerToolOrDevice)
{
    DummyDevice const record = recoveryRecord();
    Device const served(record);
    QString value;
    for (auto const source : {fromApi, fromExe}) {
        Manager unmanaged(nullptr, &tool, source, nullptr, device.get(), record);
        unmanaged.getProperty(QStringLiteral("vrel.serial"), value);
        EXPECT_FALSE(unmanaged.updateSerialThoughApi(value) || unmanaged.updateSerialThoughExe(value));
    }
    make(record, fromExe, nullptr);
    EXPECT_EQ(query(), "null");
    EXPECT_TRUE(value.isNull());
    EXPECT_EQ(tool.starts, 0);
    EXPECT_TRUE(api.calls.empty());
}

TEST_F(DevicePropertyTest, RunsTheDownloaderWithItsArgumentsAndLogsTheRun)
{
    tool.script = QStringLiteral("printf '[%s]' \"$@\" >&2; [ $# -eq 4 ] && printf '\\nAB12CD\\r\\n'");
    make(fromExe);
    EXPECT_EQ(query(), "AB12CD");
    EXPECT_EQ(recorder.lines(), (Lines{R"(4 "getSerial" "--quiet" "--uid" "1-4.2")", "4 Serial for UID 1-4.2",
                                       "4 Output: \nAB12CD\r\n", "4 Error: 0"}));
    EXPECT_TRUE(api.calls.empty());
}

TEST_F(DevicePropertyTest, JudgesTheOutputOfTheDownloader)
{
    std::pair<char const*, char const*> const cases[] = {
        {R"(printf '\nAB12CD\n')", "AB12CD"},
        {R"(printf 'zZ09')", "zZ09"},
        {R"(printf 'some text:\r\n\r\rAB12\r-\n')", "AB12"},
        {R"(printf 'AB12\n\0CD34\n')", "AB12"},
        {R"(printf 'AB12\nCD34\n')", "null"},
        {R"(printf 'AB12\nAB12\n')", "null"},
        {R"(printf 'AB-12\n')", "null"},
        {R"(printf ' AB12\n')", "null"},
        {R"(printf 'AB12\303\251\n')", "null"},
        {R"(printf '\377\n')", "null"},
        {R"(printf '\0AB12\n')", "null"},
        {R"(printf '\n\r\n')", "null"},
        {"true", "null"},
        {"echo AB12 >&2", "null"},
    };
    for (auto const& [script, expected] : cases) {
        recorder.clear();
        tool.script = QString::fromUtf8(script);
        make(fromExe);
        EXPECT_EQ(query(), expected) << script;
        EXPECT_EQ(recorder.lines().size(), 4U) << script;
    }
}

TEST_F(DevicePropertyTest, FailedRunsAreTriedAgain)
{
    make(fromExe);
    tool.script = QStringLiteral("echo AB12; exit 3");
    EXPECT_EQ(query(), "null");
    EXPECT_EQ(recorder.lines(),
              (Lines{R"(4 "getSerial" "--quiet" "--uid" "1-4.2")", "4 Serial for UID 1-4.2",
                     "4 Output: AB12\n", "4 Error: 3", "2 Fail to get Vrel devices list", "5 AB12\n"}));
    recorder.clear();
    for (char const* const crash : {"echo AB12; kill -SEGV $$", "echo AB12; kill -KILL $$"}) {
        tool.script = QString::fromUtf8(crash);
        EXPECT_EQ(query(), "null") << crash;
    }
    tool.isStarting = false;
    tool.script = QStringLiteral("echo AB12");
    EXPECT_EQ(query(), "null");
    EXPECT_EQ(recorder.lines(), Lines());
    tool.isStarting = true;
    EXPECT_EQ(query(), "AB12");
    EXPECT_TRUE(api.calls.empty()) << "there is no fall-back";
}

TEST_F(DevicePropertyTest, HangingAndFloodingDownloadersAreKilledAndReaped)
{
    struct Case
    {
        char const* script;
        int least;
        int most;
    };
    Case const cases[] = {
        {"echo AB12; exec sleep 100", 4900, 15000},
        {"exec yes AB12 >&2", 4900, 15000},
        {"exec yes", 0, 4900},
        {"head -c 1200000 /dev/zero; echo; echo AB12", 0, 4900},
    };
    make(fromExe);
    for (Case const& entry : cases) {
        QElapsedTimer timer;
        timer.start();
        tool.script = QString::fromUtf8(entry.script);
        EXPECT_EQ(query(), "null") << entry.script;
        EXPECT_GE(timer.elapsed(), entry.least) << entry.script;
        EXPECT_LT(timer.elapsed(), entry.most) << entry.script;
        EXPECT_EQ(::kill(static_cast<pid_t>(tool.pid), 0), -1) << entry.script << " is still there";
    }
    EXPECT_EQ(recorder.lines(), Lines());
}

TEST_F(DevicePropertyTest, TakesTheNumberThatAScanFound)
{
    DummyDevice known = recoveryRecord();
    known.properties[QStringLiteral("vrel.serial")] = QStringLiteral("KNOWN1");
    Manager& made = make(known, fromApi, nullptr);
    QString value;
    EXPECT_EQ(query(), "null");
    EXPECT_TRUE(made.updateSerialThoughApi(value));
    EXPECT_EQ(value, QStringLiteral("KNOWN1"));
    made.deviceUpdated(recoveryRecord());
    EXPECT_TRUE(made.updateSerialThoughExe(value));
    EXPECT_EQ(value, QStringLiteral("KNOWN1")) << "a record without a number changes nothing";
    known.properties[QStringLiteral("vrel.serial")] = QStringLiteral("KNOWN2");
    made.deviceUpdated(known);
    EXPECT_TRUE(made.updateSerialThoughApi(value));
    EXPECT_EQ(value, QStringLiteral("KNOWN2"));
    EXPECT_TRUE(api.calls.empty());
}

TEST_F(DevicePropertyTest, AllocatorFreesItsToolAndItsManagersAlone)
{
    struct Foreign : DevicePropertyManager
    {
        using DevicePropertyManager::DevicePropertyManager;
        using DevicePropertyManager::getProperty;
        void getProperty(QString const& /*name*/, QString& /*value*/) override {}
        bool isBusy() const override { return true; }
        void deviceUpdated(DummyDevice const& /*record*/) override {}
    };
    struct CountingTool : ScriptTool
    {
        ~CountingTool() override { ++freed(); }
        static int& freed()
        {
            static int count = 0;
            return count;
        }
    };
    DummyDevice const record = recoveryRecord();
    Device served(record);
    CountingTool::freed() = 0;
    {
        auto* const counting = new CountingTool;
        counting->script = QStringLiteral("echo AB12");
        VrelDevicePropertyManagerAllocator allocator(&manager, counting, fromExe);
        DevicePropertyManager* const made = allocator.newManager(&served, record);
        EXPECT_EQ(made->allocator(), &allocator);
        EXPECT_EQ(made->getProperty(QStringLiteral("serial")), QStringLiteral("AB12"));
        allocator.dropManager(made);
        allocator.dropManager(nullptr);
        Foreign foreign(&allocator, &served, record);
        allocator.dropManager(&foreign);
        EXPECT_TRUE(foreign.isBusy());
        EXPECT_EQ(CountingTool::freed(), 0) << "a manager only borrows the tool";
    }
    EXPECT_EQ(CountingTool::freed(), 1);
    VrelDevicePropertyManagerAllocator const without(&manager, nullptr, fromExe);
}

} // namespace
