#include "benchmarks/SilentVendor.h"
#include "commands/VrelFlashUtils.h"
#include "external/JsonObject.h"
#include "external/LogHandler.h"

#include <benchmark/benchmark.h>

#include <QProcess>

#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** Starts and ends at once, whatever its arguments: nothing hides what is done around it. */
constexpr char const* kDownloader = "/bin/true";

constexpr char const* kModule = "module.bin";
constexpr unsigned long long kTimeout = 60000;

/** Gives back what earlier benchmarks left on the heap: a fork copies its page tables. */
void shrinkHeap()
{
    static_cast<void>(malloc_trim(0));
}

void runOutOfProcess(benchmark::State& state)
{
    JsonObject request;
    request.setValue(QStringLiteral("command"), "erasetoken");
    request.setValue(QStringLiteral("fw_rux"), kModule);
    request.setValue(QStringLiteral("slot"), 1U);
    QString const downloader = QString::fromLatin1(kDownloader);
    QString const serial = QString::fromLatin1(kSerial);
    LogHandler log;
    VrelFlashUtils utils(request);
    shrinkHeap();
    for (auto _ : state) {
        if (!utils.run(downloader, serial, log, kTimeout))
            state.SkipWithError("run failed");
    }
}

void startAndWait(benchmark::State& state)
{
    QString const downloader = QString::fromLatin1(kDownloader);
    QStringList const arguments{QStringLiteral("--command"), QStringLiteral("erasetoken"),
                                QStringLiteral("--sn"),      QString::fromLatin1(kSerial),
                                QStringLiteral("--fw_rux"),  QString::fromLatin1(kModule),
                                QStringLiteral("--slot"),    QStringLiteral("1")};
    shrinkHeap();
    for (auto _ : state) {
        QProcess process;
        process.start(downloader, arguments, QIODevice::ReadWrite);
        if (!process.waitForFinished(kTimeout) || process.exitCode() != 0)
            state.SkipWithError("run failed");
    }
}

void runProcess(benchmark::State& state, char const* path)
{
    std::string name = path;
    char* const arguments[] = {name.data(), nullptr};
    shrinkHeap();
    for (auto _ : state) {
        pid_t process = 0;
        int status = -1;
        if (posix_spawn(&process, path, nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(process, &status, 0) != process || status != 0)
            state.SkipWithError("process failed");
    }
}

void processWithManager(benchmark::State& state)
{
    runProcess(state, VREL_MANAGER_PROCESS);
}

void processWithQtCoreAlone(benchmark::State& state)
{
    runProcess(state, VREL_QTCORE_PROCESS);
}

BENCHMARK(runOutOfProcess)->Name("out_of_process/library")->UseRealTime();
BENCHMARK(startAndWait)->Name("out_of_process/yardstick")->UseRealTime();
BENCHMARK(processWithManager)->Name("load_library/library")->UseRealTime();
BENCHMARK(processWithQtCoreAlone)->Name("load_library/yardstick")->UseRealTime();

} // namespace
