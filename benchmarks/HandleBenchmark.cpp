#include "benchmarks/NullApi.h"
#include "plugin/VrelApiManagerPrivate.h"
#include "plugin/VrelManager.h"

#include <benchmark/benchmark.h>

#include <QMutex>

namespace {

void fetchAndDropHandle(benchmark::State& state)
{
    VrelManager manager;
    for (auto _ : state) {
        VrelApiManager const handle = manager.fetchApi();
        benchmark::DoNotOptimize(handle.operator->());
    }
}

/** As large as what a new handle allocates. */
struct HandleState
{
    unsigned char bytes[sizeof(VrelApiManagerPrivate)];
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
    VrelManager manager;
    VrelApiManager handle = manager.fetchApi();
    for (auto _ : state) {
        std::map<QString, QString> devices;
        if (handle.getDeviceList(devices) != 0 || devices.size() != kListedDeviceCount)
            state.SkipWithError("not all devices listed");
        benchmark::DoNotOptimize(devices);
    }
}

void buildDeviceMapByHand(benchmark::State& state)
{
    for (auto _ : state) {
        std::map<QString, QString> devices;
        for (ListedDevice const& device : listedDevices())
            devices.emplace(QString::fromLatin1(device.location), QString::fromLatin1(device.serial));
        if (devices.size() != kListedDeviceCount)
            state.SkipWithError("not all devices listed");
        benchmark::DoNotOptimize(devices);
    }
}

BENCHMARK(fetchAndDropHandle)->Name("fetch_api/library");
BENCHMARK(lockThriceAndAllocate)->Name("fetch_api/yardstick");
BENCHMARK(listDevices)->Name("device_list/library");
BENCHMARK(buildDeviceMapByHand)->Name("device_list/yardstick");

} // namespace
