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
 * map and the version text.
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

/** Whether the record can hold what it says. */
bool isPossible(VrelDeviceList const& list)
{
    return list.count <= kMostDevices &&
           std::all_of(list.locations, list.locations + list.count, [](auto const& location) {
               return location.portCount >= 0 && location.portCount <= 7;
           });
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
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
    bool const isRefused = vendor.result == 0 && !isPossible(vendor.devices);
    int const result = manager.fetchApi().getDeviceList(devices, error);
    require(result == (isRefused ? VrelApiManager::kBadDeviceList : vendor.result),
            "the API's result is passed on, unless its list is impossible");
    if (result == 0)
        checkDevices(devices, vendor.devices);
    else
        require(devices.empty() && error.size() <= static_cast<int>(sizeof errorText),
                "a failure gives no devices and no more than the buffer's text");
    checkVersion(vendor.version);
    require(vendor.acquired == vendor.released, "every hold is given back");
    return 0;
}
