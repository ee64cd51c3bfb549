#include "devices/VrelDeviceFilter.h"
#include "devices/VrelDeviceFilterData.h"
#include "external/DeviceManagerTool.h"
#include "plugin/VrelManager.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QStringList>

#include <cstring>
#include <memory>

namespace {

DummyDevice record(int vendor, int product, char const* path = "1-1",
                   int connectionType = PortNumber::UsbConnection)
{
    DummyDevice device;
    device.port = PortNumber(connectionType, QString::fromUtf8(path));
    device.vendorId = static_cast<std::uint16_t>(vendor);
    device.productId = static_cast<std::uint16_t>(product);
    device.properties[QStringLiteral("usb.devicePath")] = QString::fromUtf8(path);
    return device;
}

std::string paths(std::list<DummyDevice> const& devices)
{
    QStringList list;
    for (DummyDevice const& device : devices)
        list << device.properties.at(QStringLiteral("usb.devicePath"));
    return list.join(QLatin1Char(' ')).toStdString();
}

class ForeignData : public DeviceFilterData
{
};

class DeviceFilterTest : public ::testing::Test
{
protected:
    void scan(DeviceFilter const& scanFilter)
    {
        DeviceFilterData* const data = scanFilter.preScanEvent();
        scanFilter.filterDevices(found, claimed, data);
        scanFilter.postScanEvent(data);
    }

    VrelManager manager;
    std::list<DummyDevice> found;
    std::list<DummyDevice> claimed;
    VrelDeviceFilter filter{&manager, nullptr, nullptr};
};

TEST_F(DeviceFilterTest, ClaimsByVendorProductAndPort)
{
    struct Case
    {
        int vendor;
        int product;
        int connectionType;
        bool isClaimed;
    };
    Case const cases[] = {
        {0x2C4E, 0x3D3E, 1, false}, {0x2C4E, 0x3D3F, 1, false}, {0x2C4E, 0x3D40, 1, true},
        {0x2C4E, 0x3D41, 1, false}, {0x2C4E, 0x3D42, 1, true},  {0x2C4E, 0x3D43, 1, false},
        {0x2C4E, 0x3D44, 1, true},  {0x2C4E, 0x3D45, 1, false}, {0x2C4E, 0x3D46, 1, true},
        {0x2C4E, 0x3D47, 1, false}, {0x2C4E, 0x3D48, 1, true},  {0x2C4E, 0x3D49, 1, false},
        {0x2C4E, 0x3D4A, 1, false}, {0x2C4E, 0x3D60, 1, false}, {0x2C4E, 0x0000, 1, false},
        {0x2C4E, 0xFFFF, 1, false}, {0x2C4F, 0x3D40, 1, false}, {0x4E2C, 0x3D40, 1, false},
        {0x2C4E, 0x3D40, 0, false}, {0x2C4E, 0x3D40, 2, false}, {0x2C4E, 0x3D40, -1, false},
    };
    for (Case const& entry : cases) {
        found = {record(entry.vendor, entry.product, "1-1", entry.connectionType)};
        claimed.clear();
        scan(filter);
        EXPECT_EQ(claimed.size(), entry.isClaimed ? 1U : 0U) << std::hex << entry.product;
        EXPECT_EQ(found.size() + claimed.size(), 1U);
    }
}

TEST_F(DeviceFilterTest, MovesInOrderBehindWhatWasClaimedBefore)
{
    claimed = {record(1, 1, "0-0")};
    found = {record(1, 1, "1-1"),           record(0x2C4E, 0x3D40, "1-2"), record(0x2C4E, 0x3D48, "1-3"),
             record(0x2C4E, 0x3D41, "1-4"), record(1, 2, "1-5"),           record(0x2C4E, 0x3D42, "1-6")};
    scan(filter);
    EXPECT_EQ(paths(found), "1-1 1-4 1-5");
    EXPECT_EQ(paths(claimed), "0-0 1-2 1-3 1-6");
    EXPECT_FALSE(claimed.front().isClaimed) << "not this filter's";
}

TEST_F(DeviceFilterTest, MarksClaimedRecordsAndLeavesTheRestAlone)
{
    DummyDevice device = record(0x2C4E, 0x3D40);
    device.hostData = 77;
    device.manufacturer = device.productName = QStringLiteral("0");
    for (char const* const text : {"0", "00", "", "A0"}) {
        device.serialText = QString::fromUtf8(text);
        found.push_back(device);
    }
    found.push_back(record(1, 1));
    found.back().serialText = QStringLiteral("0");
    scan(filter);

    QStringList texts;
    for (DummyDevice const& moved : claimed) {
        EXPECT_EQ(moved.kind, 1);
        EXPECT_EQ(moved.mode, 1);
        EXPECT_TRUE(moved.isClaimed);
        EXPECT_EQ(moved.hostData, 77U);
        EXPECT_EQ(moved.manufacturer + moved.productName, QStringLiteral("00"));
        texts << moved.serialText;
    }
    EXPECT_EQ(texts.join(QLatin1Char('|')).toStdString(), "|00||A0");
    EXPECT_EQ(found.front().serialText, QStringLiteral("0"));
    EXPECT_EQ(found.front().kind + found.front().mode + found.front().isClaimed, 0);

    unsigned char bytes[sizeof(DummyDevice)];
    DummyDevice const& moved = claimed.front();
    std::memcpy(bytes, static_cast<void const*>(&moved), sizeof bytes);
    auto const ids = reinterpret_cast<char const*>(&moved.productId) - reinterpret_cast<char const*>(&moved);
    EXPECT_EQ(bytes[ids + 2] & 1U, 1U) << "the flag's place is fixed";
}

TEST_F(DeviceFilterTest, DoesNothingWithoutAScanOfItsOwn)
{
    VrelDeviceFilter const unmanaged(nullptr, nullptr, nullptr);
    EXPECT_EQ(unmanaged.preScanEvent(), nullptr);
    unmanaged.postScanEvent(nullptr);

    found = {record(0x2C4E, 0x3D40)};
    ForeignData foreign;
    filter.filterDevices(found, claimed, nullptr);
    filter.filterDevices(found, claimed, &foreign);
    scan(unmanaged);
    EXPECT_EQ(found.size(), 1U);
    EXPECT_TRUE(claimed.empty());
    EXPECT_FALSE(found.front().isClaimed);
}

TEST_F(DeviceFilterTest, UpdatesARecordWithoutClaimingIt)
{
    VrelDeviceFilterData const data(filter, nullptr, nullptr, nullptr);
    DummyDevice other = record(0x2C4E, 0x3D41);
    DummyDevice device = record(0x2C4E, 0x3D40);
    other.serialText = device.serialText = QStringLiteral("0");
    EXPECT_FALSE(data.updateDevice(other));
    EXPECT_EQ(other.serialText, QStringLiteral("0"));
    EXPECT_TRUE(data.updateDevice(device));
    EXPECT_EQ(device.serialText, QString());
    EXPECT_EQ(device.kind + device.mode + device.isClaimed, 0);
}

TEST_F(DeviceFilterTest, NamesItselfAndFreesItsTool)
{
    struct Tool : DeviceManagerTool
    {
        explicit Tool(int& counter)
            : count(counter)
        {
        }
        ~Tool() override { ++count; }
        int& count;
    };
    int freed = 0;
    LogRecorder const recorder;
    {
        VrelDeviceFilter named(&manager, new Tool(freed), nullptr);
        EXPECT_EQ(named.getFilterName(), QStringLiteral("VrelDeviceFilter"));
        EXPECT_EQ(named.converter(), DeviceFilter::NoChangesConverter);
        named.logHandler().logMessage(3, "");
        EXPECT_EQ(freed, 0);
    }
    EXPECT_EQ(freed, 1);
    ASSERT_EQ(recorder.records().size(), 1U);
    EXPECT_EQ(recorder.records().front().name, QStringLiteral("Vrel filter"));
    EXPECT_EQ(recorder.records().front().prefix, QStringLiteral("Vrel filter"));
}

TEST_F(DeviceFilterTest, FiltersAHundredThousandDevicesInLinearTime)
{
    constexpr int kCount = 100000;
    for (int i = 0; i < kCount; ++i)
        found.push_back(record(0x2C4E, 0x3D40 + i % 2));
    QElapsedTimer timer;
    timer.start();
    scan(filter);
    EXPECT_LT(timer.elapsed(), 5000) << "milliseconds, against minutes of a quadratic walk";
    EXPECT_EQ(claimed.size(), kCount / 2U);
    EXPECT_EQ(found.size(), kCount / 2U);
}

} // namespace
