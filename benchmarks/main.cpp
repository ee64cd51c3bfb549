#include "framework/LogSink.h"

#include <benchmark/benchmark.h>

#include <thread>

int main(int argc, char* argv[])
{
    // A host has threads. Until there has been a second one, the standard library counts without atomics.
    std::thread([] {}).join();
    setLogSink([](LogLine const& /*line*/) {});

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
