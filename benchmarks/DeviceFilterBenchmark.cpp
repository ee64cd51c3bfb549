#include "devices/VrelDeviceFilter.h"
#include "plugin/VrelManager.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <list>

namespace {

using Devices = std::list<DummyDevice>;

constexpr std::uint16_t kVendorId = 0x2C4E;
constexpr std::uint16_t kRecoveryProductId = 0x3D40;
constexpr std::uint16_t kOtherProductId = 0x3D41;

/** A scan's records, of which the filter claims every second one. */
Devices someDevices(int count)
{
    Devices devices;
    for (int i = 0; i < count; ++i) {
        DummyDevice device;
        QString const path = QStringLiteral("%1-%2").arg(i / 100).arg(i % 100);
        device.port = PortNumber(PortNumber::UsbConnection, path);
        device.serialText = QString::number(i, 16);
        device.vendorId = kVendorId;
        device.productId = i % 2 == 0 ? kRecoveryProductId : kOtherProductId;
        device.properties[QStringLiteral("usb.devicePath")] = path;
        devices.push_back(device);
    }
    return devices;
}

template <typename Action>
double secondsFor(Action const& action)
{
    auto const start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/** Puts every second device back to where it was found. */
void restore(Devices& found, Devices& claimed)
{
    for (auto next = found.begin(); !claimed.empty(); ++next)
        found.splice(next, claimed, claimed.begin());
}

/** Times the filter alone, over the same records again and again. */
void filterPerDevice(benchmark::State& state, int count)
{
    VrelManager manager;
    VrelDeviceFilter const filter(&manager, nullptr, nullptr);
    DeviceFilterData* const scan = filter.preScanEvent();
    Devices found = someDevices(count);
    Devices claimed;
    for (auto _ : state) {
        state.SetIterationTime(secondsFor([&] { filter.filterDevices(found, claimed, scan); }));
        if (claimed.size() * 2 != static_cast<std::size_t>(count))
            state.SkipWithError("not every second device claimed");
        restore(found, claimed);
    }
    state.SetItemsProcessed(state.iterations() * count);
    filter.postScanEvent(scan);
}

void filterManyDevices(benchmark::State& state)
{
    filterPerDevice(state, 100000);
}

void filterFewDevices(benchmark::State& state)
{
    filterPerDevice(state, 1000);
}

constexpr int kClaimedRowCount = 1000;

void filterNewDevices(benchmark::State& state)
{
    VrelManager manager;
    VrelDeviceFilter const filter(&manager, nullptr, nullptr);
    DeviceFilterData* const scan = filter.preScanEvent();
    Devices const devices = someDevices(kClaimedRowCount);
    for (auto _ : state) {
        Devices found = devices;
        Devices claimed;
        state.SetIterationTime(secondsFor([&] { filter.filterDevices(found, claimed, scan); }));
        benchmark::DoNotOptimize(claimed);
    }
    filter.postScanEvent(scan);
}

void copyAndEraseNewDevices(benchmark::State& state)
{
    Devices const devices = someDevices(kClaimedRowCount);
    for (auto _ : state) {
        Devices found = devices;
        Devices claimed;
        state.SetIterationTime(secondsFor([&] {
            for (auto next = found.begin(); next != found.end(); ++next) {
                claimed.push_back(*next);
                next = found.erase(next);
            }
        }));
        benchmark::DoNotOptimize(claimed);
    }
}

BENCHMARK(filterManyDevices)->Name("filter_scale/library")->UseManualTime();
BENCHMARK(filterFewDevices)->Name("filter_scale/yardstick")->UseManualTime();
BENCHMARK(filterNewDevices)->Name("filter_claimed/library")->UseManualTime();
BENCHMARK(copyAndEraseNewDevices)->Name("filter_claimed/yardstick")->UseManualTime();

} // namespace
