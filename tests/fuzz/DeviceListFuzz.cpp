#include "devices/VrelDeviceFilter.h"
#include "devices/VrelDevicePropertyManager.h"
#include "external/Device.h"
#include "plugin/VrelManager.h"
#include "tests/fuzz/Require.h"
#include "tests/support/FakeVendor.h"

#include <QRegularExpression>

#include <algorithm>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>

/**
 * @file
 * The device-list and version records of a vendor library that fills them with anything, through the device
 * map, the version text, and a scan of as strange devices with their serial numbers.
 */
namespace {

constexpr std::size_t kMostDevices = 24;

/** Sizes that a correct library would give, more often than others. */
std::int32_t someCount(FuzzedDataProvider& input, std::int32_t most)
{
    return input.ConsumeBool() ? input.ConsumeIntegralInRange(-1, most + 1)
                               : input.ConsumeIntegral<std::int32_t>();
}

/** Fills a field with a text that may take all of it, and then has no NUL. */
template <std::size_t Size>
void fillText(FuzzedDataProvider& input, char (&field)[Size])
{
    if (input.ConsumeBool()) {
        std::memset(field, input.ConsumeIntegral<char>(), Size);
        return;
    }
    std::string const text = input.ConsumeRandomLengthString(Size);
    std::memcpy(field, text.data(), text.size());
}

void fillList(FuzzedDataProvider& input, VrelDeviceList& list)
{
    list.count = static_cast<std::uint32_t>(someCount(input, kMostDevices));
    for (std::size_t i = 0; i < kMostDevices && input.remaining_bytes() > 0; ++i) {
        list.locations[i].bus = input.ConsumeIntegral<std::uint8_t>();
        list.locations[i].portCount = someCount(input, 7);
        input.ConsumeData(list.locations[i].ports, sizeof list.locations[i].ports);
        fillText(input, list.names[i]);
    }
}

void checkDevices(std::map<QString, QString> const& devices, VrelDeviceList const& list)
{
    static QRegularExpression const s_location(QStringLiteral(R"(\A\d{1,3}(-\d{1,3}(\.\d{1,3}){0,6})?\z)"));
    require(devices.size() <= std::min<std::size_t>(list.count, kMostDevices),
            "no more devices than the record says and holds");
    for (auto const& [location, serial] : devices) {
        require(s_location.match(location).hasMatch(), "a location is a bus and up to seven ports");
        auto const isSerial = [&serial = serial](auto const& name) {
            return serial ==
                   QString::fromUtf8(QByteArray(name, static_cast<int>(qstrnlen(name, sizeof name))));
        };
        require(std::any_of(std::begin(list.names), std::end(list.names), isSerial),
                "a serial number is one of the names, up to its NUL or its field's end");
    }
}

void checkVersion(VrelApiVersionRecord const& version)
{
    QString const text = VrelManager::getVersion();
    QString const start = QStringLiteral("1.0.0.0 (API: ");
    require(text.startsWith(start) && text.endsWith(QLatin1Char(')')), "the version's form is kept");
    QString const field = QString::fromLatin1(version.versionText, sizeof version.versionText);
    require(field.startsWith(text.mid(start.size()).chopped(1)), "its text is the record's");
}

/** What the host's scanner found; the record's `hostData` is its place. */
std::list<DummyDevice> foundDevices(FuzzedDataProvider& input)
{
    std::list<DummyDevice> found(input.ConsumeIntegralInRange<std::size_t>(0, 8));
    std::uint32_t place = 0;
    for (DummyDevice& device : found) {
        QString const path =
            QString::fromLatin1(input.PickValueInArray<char const*>({"1-4.2", "2-1", "3", "0", ""}));
        device.hostData = place++;
        device.port = PortNumber(input.ConsumeBool() ? 1 : input.ConsumeIntegral<int>(), path);
        device.vendorId = input.ConsumeBool() ? 0x2C4E : input.ConsumeIntegral<std::uint16_t>();
        device.productId = input.ConsumeBool() ? input.ConsumeIntegralInRange<std::uint16_t>(0x3D3F, 0x3D49)
                                               : input.ConsumeIntegral<std::uint16_t>();
        device.properties[QStringLiteral("usb.devicePath")] = path;
    }
    return found;
}

bool isOurs(DummyDevice const& device)
{
    return device.port.getConnectionType() == 1 && device.vendorId == 0x2C4E && device.productId >= 0x3D40 &&
           device.productId <= 0x3D48 && device.productId % 2 == 0;
}

bool isInOrder(std::list<DummyDevice> const& devices)
{
    return std::is_sorted(
        devices.begin(), devices.end(),
        [](DummyDevice const& left, DummyDevice const& right) { return left.hostData < right.hostData; });
}

void checkScan(VrelManager& manager, std::list<DummyDevice> found, std::map<QString, QString> const& devices)
{
    std::size_t const count = found.size();
    std::list<DummyDevice> claimed;
    VrelDeviceFilter const filter(&manager, nullptr, nullptr);
    DeviceFilterData* const scan = filter.preScanEvent();
    filter.filterDevices(found, claimed, scan);
    filter.postScanEvent(scan);
    require(found.size() + claimed.size() == count && isInOrder(found) && isInOrder(claimed),
            "a scan loses and shuffles nothing");
    require(std::all_of(claimed.begin(), claimed.end(), isOurs) &&
                std::none_of(found.begin(), found.end(), isOurs),
            "and claims the devices in recovery mode");
    for (DummyDevice const& record : claimed) {
        Device device(record);
        VrelDevicePropertyManager properties(
            &manager, nullptr, [] { return true; }, nullptr, &device, record);
        QString serial;
        properties.getProperty(QStringLiteral("vrel.serial"), serial);
        auto const entry = devices.find(record.port.getLocation());
        require(entry == devices.end() || entry->first.isEmpty() ? serial.isNull() : serial == entry->second,
                "a device's serial number is that of its path");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    std::list<DummyDevice> const found = foundDevices(input);
    FakeVendor vendor;
    vendor.version.textLength = someCount(input, 256);
    fillText(input, vendor.version.versionText);
    vendor.result = input.ConsumeBool() ? input.ConsumeIntegral<int>() : 0;
    char errorText[kVrelErrorTextSize] = {};
    fillText(input, errorText);
    vendor.errorText = std::string(errorText, sizeof errorText);
    fillList(input, vendor.devices);

    VrelManager manager;
    std::map<QString, QString> devices{{QStringLiteral("old"), QString()}};
    QString error;
    require(manager.fetchApi().getDeviceList(devices, error) == vendor.result,
            "the API's result is passed on");
    if (vendor.result == 0)
        checkDevices(devices, vendor.devices);
    else
        require(devices.empty() && error.size() <= static_cast<int>(sizeof errorText),
                "a failure gives no devices and no more than the buffer's text");
    checkVersion(vendor.version);
    checkScan(manager, found, devices);
    require(vendor.acquired == vendor.released, "every hold is given back");
    return 0;
}
