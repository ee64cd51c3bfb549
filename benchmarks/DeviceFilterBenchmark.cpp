#include "benchmarks/Turns.h"
#include "devices/VrelDeviceFilter.h"
#include "plugin/VrelManager.h"

#include <benchmark/benchmark.h>

#include <iterator>
#include <list>

namespace {

using Devices = std::list<DummyDevice>;

constexpr std::uint16_t kVendorId = 0x2C4E;
constexpr std::uint16_t kRecoveryProductId = 0x3D40;
constexpr std::uint16_t kOtherProductId = 0x3D41;

/** A scan's records, of which the filter claims the first and every so many-th after it. */
Devices someDevices(int count, int claimedOneIn)
{
    Devices devices;
    for (int i = 0; i < count; ++i) {
        DummyDevice device;
        QString const path = QStringLiteral("%1-%2").arg(i / 100).arg(i % 100);
        device.port = PortNumber(PortNumber::UsbConnection, path);
        device.serialText = QString::number(i, 16);
        device.vendorId = kVendorId;
        device.productId = i % claimedOneIn == 0 ? kRecoveryProductId : kOtherProductId;
        device.properties[QStringLiteral("usb.devicePath")] = path;
        devices.push_back(device);
    }
    return devices;
}

/** Puts the claimed devices back to where they were found. */
void restore(Devices& found, Devices& claimed, int claimedOneIn)
{
    for (auto next = found.begin(); !claimed.empty(); std::advance(next, claimedOneIn - 1))
        found.splice(next, claimed, claimed.begin());
}

/**
 * Times the filter and, as its yardstick, a walk over the same records that reads their two IDs, in turns:
 * how records lie in memory decides on more than what is done with them.
 */
void filterDevices(benchmark::State& state, int count, int claimedOneIn)
{
    VrelManager manager;
    VrelDeviceFilter const filter(&manager, nullptr, nullptr);
    DeviceFilterData* const scan = filter.preScanEvent();
    Devices found = someDevices(count, claimedOneIn);
    Devices claimed;
    Turns turns;
    for (auto _ : state) {
        turns.yardstick([&found] {
            unsigned int sum = 0;
            for (DummyDevice const& device : found)
                sum += device.vendorId + device.productId;
            benchmark::DoNotOptimize(sum);
        });
        turns.library(state, [&] { filter.filterDevices(found, claimed, scan); });
        if (claimed.size() != static_cast<std::size_t>(count / claimedOneIn))
            state.SkipWithError("not the right devices claimed");
        restore(found, claimed, claimedOneIn);
    }
    turns.report(state);
    filter.postScanEvent(scan);
}

BENCHMARK_CAPTURE(filterDevices, few, 1000, 100)->Name("filter_few/both")->UseManualTime();
BENCHMARK_CAPTURE(filterDevices, many, 100000, 100)->Name("filter_many/both")->UseManualTime();
BENCHMARK_CAPTURE(filterDevices, moveFew, 1000, 2)->Name("filter_move_few/both")->UseManualTime();
BENCHMARK_CAPTURE(filterDevices, moveMany, 100000, 2)->Name("filter_move_many/both")->UseManualTime();

} // namespace
