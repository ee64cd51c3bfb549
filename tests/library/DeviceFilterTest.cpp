#include "devices/VrelDeviceFilter.h"
#include "external/DeviceManagerTool.h"
#include "plugin/VrelManager.h"
#include "tests/support/Counted.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

DummyDevice record(int vendor, int product, char const* serial = "",
                   int connectionType = PortNumber::UsbConnection)
{
    DummyDevice device;
    device.port = PortNumber(connectionType, QString());
    device.vendorId = static_cast<std::uint16_t>(vendor);
    device.productId = static_cast<std::uint16_t>(product);
    device.serialText = QString::fromUtf8(serial);
    device.manufacturer = device.productName = QStringLiteral("0");
    device.hostData = 77;
    return device;
}

/** "SERIAL:" of each, and behind it what a filter marks. */
std::string shown(std::list<DummyDevice> const& devices)
{
    std::string text;
    for (DummyDevice const& device : devices) {
        EXPECT_EQ(device.manufacturer + device.productName, QStringLiteral("00"));
        EXPECT_EQ(device.hostData, 77U);
        text += device.serialText.toStdString() + ':' + std::to_string(device.kind) +
                std::to_string(device.mode) + std::to_string(device.isClaimed) + ' ';
    }
    return text;
}

class DeviceFilterTest : public ::testing::Test
{
protected:
    void scan(DeviceFilter const& scanFilter)
    {
        DeviceFilterData* const data = scanFilter.preScanEvent();
        scanFilter.filterDevices(m_found, m_claimed, data);
        scanFilter.postScanEvent(data);
    }

    VrelManager m_manager;
    std::list<DummyDevice> m_found;
    std::list<DummyDevice> m_claimed;
    VrelDeviceFilter m_filter{&m_manager, nullptr, nullptr};
};

TEST_F(DeviceFilterTest, ClaimsByVendorProductAndPort)
{
    for (int product = 0x3D3E; product <= 0x3D62; ++product)
        m_found.push_back(record(0x2C4E, product));
    for (int const vendor : {0x2C4D, 0x2C4F, 0x4E2C, 0})
        m_found.push_back(record(vendor, 0x3D40));
    for (int const connectionType : {0, 2, -1})
        m_found.push_back(record(0x2C4E, 0x3D40, "", connectionType));
    scan(m_filter);
    std::vector<int> products;
    for (DummyDevice const& device : m_claimed)
        products.push_back(device.productId);
    EXPECT_EQ(products, (std::vector<int>{0x3D40, 0x3D42, 0x3D44, 0x3D46, 0x3D48}));
}

TEST_F(DeviceFilterTest, MovesAndMarksInOrderBehindWhatWasClaimedBefore)
{
    m_claimed = {record(1, 1, "before")};
    m_found = {record(1, 1, "0"),
               record(0x2C4E, 0x3D40, "0"),
               record(0x2C4E, 0x3D48, "00"),
               record(0x2C4E, 0x3D41, "no"),
               record(0x2C4E, 0x3D42),
               record(0x2C4E, 0x3D44, "A0")};
    scan(m_filter);
    EXPECT_EQ(shown(m_found), "0:000 no:000 ");
    EXPECT_EQ(shown(m_claimed), "before:000 :111 00:111 :111 A0:111 ");

    DummyDevice const& moved = m_claimed.back();
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&moved);
    auto const ids = reinterpret_cast<unsigned char const*>(&moved.productId) - bytes;
    EXPECT_EQ(bytes[ids + 2] & 1U, 1U) << "the flag's place is fixed";
}

TEST_F(DeviceFilterTest, DoesNothingWithoutAScanOfItsOwn)
{
    VrelDeviceFilter const unmanaged(nullptr, nullptr, nullptr);
    EXPECT_EQ(unmanaged.preScanEvent(), nullptr);
    m_found = {record(0x2C4E, 0x3D40, "0")};
    DeviceFilterData foreign;
    m_filter.filterDevices(m_found, m_claimed, nullptr);
    m_filter.filterDevices(m_found, m_claimed, &foreign);
    scan(unmanaged);
    EXPECT_EQ(shown(m_found) + shown(m_claimed), "0:000 ");
}

TEST_F(DeviceFilterTest, NamesItselfAndFreesItsTool)
{
    int freed = 0;
    LogRecorder const recorder;
    {
        VrelDeviceFilter named(&m_manager, new Counted<DeviceManagerTool>(freed), nullptr);
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

} // namespace
