#include "devices/VrelDevicePropertyManager.h"
#include "devices/VrelDevicePropertyManagerAllocator.h"
#include "external/Device.h"
#include "external/DeviceManagerProgramTool.h"
#include "plugin/VrelManager.h"
#include "tests/support/Counted.h"
#include "tests/support/FakeVendor.h"
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
        if (!isReal)
            return isStarting;
        QObject::connect(&process, &QProcess::readyReadStandardError,
                         [&] { errors += process.readAllStandardError(); });
        process.start(QStringLiteral("/bin/sh"),
                      QStringList{QStringLiteral("-c"), script, QStringLiteral("downloader")} + arguments);
        pid = process.waitForStarted() ? process.processId() : 0;
        return isStarting;
    }

    QString script = QStringLiteral("echo AB12");
    bool isReal = true; ///< otherwise only says that it starts something, or does not
    bool isStarting = true;
    QByteArray errors; ///< what the host's own slot reads
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

    DevicePropertyTest() { vendor.addDevice("1-4.2", "AB12"); }

    /** A manager for a device of this record. */
    Manager& make(DummyDevice const& record, bool (*useApi)(), DeviceManagerProgramTool* programTool)
    {
        device = std::make_unique<Device>(record);
        properties = std::make_unique<Manager>(&manager, programTool, useApi, nullptr, device.get(), record);
        return *properties;
    }

    Manager& make(bool (*useApi)()) { return make(recoveryRecord(), useApi, &tool); }

    /** Queries once more; "null" when there was no answer. */
    std::string query(char const* name = "vrel.serial", QString value = QString())
    {
        static_cast<DevicePropertyManager&>(*properties).getProperty(QString::fromUtf8(name), value);
        return value.isNull() ? "null" : value.toStdString();
    }

    /** What it holds or can fetch, through the operation for either source. */
    std::string update(bool (Manager::*operation)(QString&))
    {
        QString value;
        bool const isKnown = ((*properties).*operation)(value);
        EXPECT_NE(isKnown, value.isNull());
        return isKnown ? value.toStdString() : "null";
    }

    FakeVendor vendor;
    LogRecorder recorder;
    VrelManager manager;
    ScriptTool tool;
    std::unique_ptr<Device> device;
    std::unique_ptr<Manager> properties;
};

TEST_F(DevicePropertyTest, AnswersOnlyForDevicesAndNamesThatItServes)
{
    auto const none = [](DummyDevice&) {};
    auto const otherKind = [](DummyDevice& record) { record.kind = 2; };
    struct
    {
        char const* name;
        std::function<void(DummyDevice&)> change;
        char const* expected;
    } const cases[] = {
        {"vrel.serial", none, "AB12"},
        {"serial", none, "AB12"},
        {"vrel.serial", otherKind, "AB12"},
        {"serial", otherKind, "null"},
        {"VREL.SERIAL", none, "null"},
        {"", none, "null"},
        {"usb.devicePath", none, "null"},
        {"vrel.serial", [](DummyDevice& record) { record.properties.clear(); }, "null"},
        {"vrel.serial", [](DummyDevice& record) { record.vendorId = 0x2C4F; }, "null"},
        {"serial", [](DummyDevice& record) { record.productId = 0x3D45; }, "null"},
        {"vrel.serial", [](DummyDevice& record) { record.port = PortNumber(2, QString()); }, "null"},
    };
    for (auto const& [name, change, expected] : cases) {
        DummyDevice record = recoveryRecord();
        change(record);
        make(record, fromApi, nullptr);
        EXPECT_EQ(query(name, QLatin1String("")), "") << "an answer of another";
        EXPECT_EQ(query(name), expected) << name << ' ' << record.kind;
    }
    EXPECT_EQ(update(&Manager::updateSerialThoughApi), "null") << "of a device that is not served";
    EXPECT_FALSE(properties->isBusy());
    EXPECT_EQ(recorder.lines(), Lines());
}

/** Silently, and without a fall-back; an answer is not given again. */
TEST_F(DevicePropertyTest, AsksTheApiUntilItAnswers)
{
    make(fromApi);
    vendor.isThere = false;
    EXPECT_EQ(query(), "null");
    vendor.isThere = true;
    vendor.result = 5;
    EXPECT_EQ(query(), "null");
    vendor.result = 0;
    vendor.devices.locations[0].ports[1] = 3;
    EXPECT_EQ(query(), "null") << "another device";
    vendor.devices.locations[0].ports[1] = 2;
    EXPECT_EQ(query(), "AB12");
    EXPECT_EQ(query() + query("serial"), "nullnull");
    EXPECT_EQ(update(&Manager::updateSerialThoughApi), "AB12");
    EXPECT_EQ(update(&Manager::updateSerialThoughExe), "AB12");
    EXPECT_EQ(vendor.calls, std::vector<std::string>(3, "listDevices"));
    EXPECT_EQ(tool.starts, 0);
    EXPECT_EQ(recorder.lines(), Lines());
    EXPECT_EQ(vendor.acquired, vendor.released);
}

TEST_F(DevicePropertyTest, NothingIsFetchedWithoutManagerToolOrDevice)
{
    DummyDevice const record = recoveryRecord();
    make(record, fromExe, nullptr);
    EXPECT_EQ(query(), "null");
    properties = std::make_unique<Manager>(nullptr, &tool, fromExe, nullptr, device.get(), record);
    EXPECT_EQ(query() + update(&Manager::updateSerialThoughApi), "nullnull");
    properties = std::make_unique<Manager>(&manager, &tool, fromExe, nullptr, nullptr, record);
    EXPECT_EQ(query() + update(&Manager::updateSerialThoughExe), "nullnull");
    EXPECT_EQ(tool.starts, 0);
    EXPECT_TRUE(vendor.calls.empty());
}

std::string dashes(std::size_t count)
{
    std::string lines;
    while (count-- > 0)
        lines += "-\n";
    return lines;
}

/** Each run is of one manager, which tries again until there is an answer. */
TEST_F(DevicePropertyTest, RunsTheDownloaderAndJudgesItsOutput)
{
    constexpr int kCrash = -1;
    struct
    {
        char const* script;
        std::string output; ///< what is logged of it
        std::string answer;
        int exitCode = 0;
        bool isCut = false; ///< has more output than is taken
    } const cases[] = {
        {"echo AB12; exit 3", "AB12\n", "null", 3},
        {"echo AB12; kill -SEGV $$", "", "null", kCrash},
        {R"(printf 'AB12\nCD34\n')", "AB12\nCD34\n", "null"},
        {R"(printf 'AB12\nAB12\n')", "AB12\nAB12\n", "null"},
        {R"(printf 'AB-12\n')", "AB-12\n", "null"},
        {R"(printf ' AB12\n')", " AB12\n", "null"},
        {R"(printf 'AB12\303\251\n')", "AB12\xC3\xA9\n", "null"},
        {R"(printf '\377\n')", "\xEF\xBF\xBD\n", "null"},
        {R"(printf '\0AB12\n')", "", "null"},
        {R"(printf '\n\r\n')", "\n\r\n", "null"},
        {R"(printf '[%s]' "$@" >&2; [ $# -eq 4 ] && printf '\nzZ09\r\n')", "\nzZ09\r\n", "zZ09"},
        {R"(printf 'some text:\r\n\r\rAB12\r-\n')", "some text:\r\n\r\rAB12\r-\n", "AB12"},
        {R"(printf 'AB12\n\0\nCD34\n')", "AB12\n", "AB12"},
        {"echo AB12; yes - | head -c 3000000", "AB12\n" + dashes(524285) + '-', "null", 0, true},
        {"yes - | head -c 3000000; echo AB12", dashes(524288), "null", 0, true},
        {"head -c 3000000 /dev/zero | tr '\\0' A; echo", std::string(1048576, 'A'), "null", 0, true},
        {"echo AB12 >&2; yes - | head -c 3000000 >&2", "", "null"},
    };
    make(fromExe);
    for (auto const& [script, output, answer, exitCode, isCut] : cases) {
        recorder.clear();
        tool.script = QString::fromUtf8(script);
        EXPECT_EQ(query(), answer) << script;
        Lines expected{R"(4 "getSerial" "--quiet" "--uid" "1-4.2")", "4 Serial for UID 1-4.2",
                       "4 Output: " + output, "4 Error: " + std::to_string(exitCode)};
        if (isCut)
            expected.emplace_back("2 Output for UID 1-4.2 beyond 1048576 bytes was dropped");
        if (exitCode > 0)
            expected.insert(expected.end(), {"2 Fail to get Vrel devices list", "5 " + output});
        // Not EXPECT_EQ, which would compare half a million lines by a matrix.
        EXPECT_TRUE(recorder.lines() == (exitCode == kCrash ? Lines() : expected)) << script;
        if (answer != "null")
            make(fromExe);
    }
    EXPECT_EQ(tool.errors.left(6), "[getSe");
    recorder.clear();
    tool.isReal = false;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(query(), "null");
    tool.isStarting = false;
    EXPECT_EQ(query(), "null");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    tool.isReal = tool.isStarting = true;
    tool.script = QStringLiteral("echo AB12; exec sleep 100");
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(query(), "null");
    EXPECT_GE(timer.elapsed(), 4900);
    EXPECT_LT(timer.elapsed(), 9000);
    EXPECT_EQ(::kill(static_cast<pid_t>(tool.pid), 0), -1) << "it is still there";
    EXPECT_EQ(recorder.lines(), Lines());
    EXPECT_TRUE(vendor.calls.empty()) << "there is no fall-back";
}

/** Where the status is lost, Qt would often tell of a success. */
TEST_F(DevicePropertyTest, NothingIsFetchedByAHostThatIgnoresItsChildren)
{
    make(fromExe);
    ::signal(SIGCHLD, SIG_IGN);
    for (char const* const script : {"echo AB12", "echo AB12; exit 3"}) {
        recorder.clear();
        tool.script = QString::fromUtf8(script);
        EXPECT_EQ(query(), "null");
        EXPECT_EQ(recorder.lines().size(), 1U);
    }
    ::signal(SIGCHLD, SIG_DFL);
}

TEST_F(DevicePropertyTest, TakesTheNumberThatAScanFound)
{
    DummyDevice known = recoveryRecord();
    known.properties[QStringLiteral("vrel.serial")] = QStringLiteral("KNOWN1");
    make(known, fromApi, nullptr);
    EXPECT_EQ(query(), "null");
    properties->deviceUpdated(recoveryRecord());
    EXPECT_EQ(update(&Manager::updateSerialThoughExe), "KNOWN1")
        << "a record without a number changes nothing";
    known.properties[QStringLiteral("vrel.serial")] = QStringLiteral("KNOWN2");
    properties->deviceUpdated(known);
    EXPECT_EQ(update(&Manager::updateSerialThoughApi), "KNOWN2");
    EXPECT_TRUE(vendor.calls.empty());
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
    DummyDevice const record = recoveryRecord();
    Device served(record);
    int freed = 0;
    {
        VrelDevicePropertyManagerAllocator allocator(&manager, new Counted<ScriptTool>(freed), fromExe);
        DevicePropertyManager* const made = allocator.newManager(&served, record);
        EXPECT_EQ(made->allocator(), &allocator);
        EXPECT_EQ(made->getProperty(QStringLiteral("serial")), QStringLiteral("AB12"));
        allocator.dropManager(made);
        allocator.dropManager(nullptr);
        Foreign foreign(&allocator, &served, record);
        allocator.dropManager(&foreign);
        EXPECT_EQ(freed, 0) << "a manager only borrows the tool";
    }
    EXPECT_EQ(freed, 1);
}

} // namespace
