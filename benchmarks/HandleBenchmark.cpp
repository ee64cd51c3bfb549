#include "benchmarks/SilentVendor.h"
#include "plugin/VrelManager.h"

#include <benchmark/benchmark.h>

#include <QMutex>

#include <memory>

namespace {

using Devices = std::vector<std::pair<std::string, std::string>>;

/** Locations and serial numbers of as many devices as a list holds. */
Devices listedDevices()
{
    Devices devices;
    for (int i = 0; i < 24; ++i)
        devices.emplace_back("1-" + std::to_string(i / 4) + '.' + std::to_string(i % 4 + 1),
                             std::to_string(10000000 + i * 3333));
    return devices;
}

void fetchAndDropHandle(benchmark::State& state)
{
    SilentVendor const vendor;
    VrelManager manager;
    for (auto _ : state) {
        VrelApiManager const handle = manager.fetchApi();
        benchmark::DoNotOptimize(handle.operator->());
    }
}

/** As large as what a new handle allocates. */
struct HandleState
{
    void* api;
    void* manager;
    void (VrelManager::*releaseCallback)();
    int refCount;
    QMutex mutex;
    std::shared_ptr<int> life;
};

void lockThriceAndAllocate(benchmark::State& state)
{
    QMutex mutex;
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
        auto* const allocated = new HandleState;
        benchmark::DoNotOptimize(allocated);
        mutex.lock();
        mutex.unlock();
        delete allocated;
        mutex.lock();
        mutex.unlock();
    }
}

void listDevices(benchmark::State& state)
{
    SilentVendor vendor;
    Devices const listed = listedDevices();
    for (auto const& [location, serial] : listed)
        vendor.addDevice(location, serial);
    VrelManager manager;
    VrelApiManager handle = manager.fetchApi();
    for (auto _ : state) {
        std::map<QString, QString> devices;
        if (handle.getDeviceList(devices) != 0 || devices.size() != listed.size())
            state.SkipWithError("not all devices listed");
        benchmark::DoNotOptimize(devices);
    }
}

void buildDeviceMapByHand(benchmark::State& state)
{
    Devices const listed = listedDevices();
    for (auto _ : state) {
        std::map<QString, QString> devices;
        for (auto const& [location, serial] : listed)
            devices.emplace(QString::fromLatin1(location.c_str()), QString::fromLatin1(serial.c_str()));
        if (devices.size() != listed.size())
            state.SkipWithError("not all devices listed");
        benchmark::DoNotOptimize(devices);
    }
}

BENCHMARK(fetchAndDropHandle)->Name("fetch_api/library");
BENCHMARK(lockThriceAndAllocate)->Name("fetch_api/yardstick");
BENCHMARK(listDevices)->Name("device_list/library");
BENCHMARK(buildDeviceMapByHand)->Name("device_list/yardstick");

} // namespace
