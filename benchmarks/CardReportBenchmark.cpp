#include "commands/cardreport/VrelCardReport.h"
#include "commands/cardreport/VrelRawDump.h"

#include <benchmark/benchmark.h>

#include <QByteArray>

namespace {

using namespace VrelUtilsCommand;

constexpr int kDumpSize = 64 * 1024;
constexpr unsigned int kReportedSize = 532; ///< what an eMMC report shows as bytes

QByteArray someBytes(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 256);
    return bytes;
}

void dump(benchmark::State& state, QByteArray const& bytes)
{
    auto const* const data = reinterpret_cast<unsigned char const*>(bytes.constData());
    for (auto _ : state) {
        QString text;
        rawDump(data, static_cast<unsigned int>(bytes.size()), false, true, 16, QStringLiteral(" "), text);
        benchmark::DoNotOptimize(text.constData());
    }
}

void rawDumpOf64KiB(benchmark::State& state)
{
    dump(state, someBytes(kDumpSize));
}

void toHexOf64KiB(benchmark::State& state)
{
    QByteArray const bytes = someBytes(kDumpSize);
    for (auto _ : state) {
        QString const text = QString::fromLatin1(bytes.toHex(' '));
        benchmark::DoNotOptimize(text.constData());
    }
}

void wholeEmmcReport(benchmark::State& state)
{
    unsigned char info[kCardInfoSize];
    for (unsigned int i = 0; i < kCardInfoSize; ++i)
        info[i] = static_cast<unsigned char>(i * 7 + 131);
    for (auto _ : state) {
        QString const text = cardReport(DeviceType::emmc, info, kCardInfoSize);
        benchmark::DoNotOptimize(text.constData());
    }
}

void rawDumpOfReportedBytes(benchmark::State& state)
{
    dump(state, someBytes(kReportedSize));
}

BENCHMARK(rawDumpOf64KiB)->Name("raw_dump/library");
BENCHMARK(toHexOf64KiB)->Name("raw_dump/yardstick");
BENCHMARK(wholeEmmcReport)->Name("emmc_report/library");
BENCHMARK(rawDumpOfReportedBytes)->Name("emmc_report/yardstick");

} // namespace
