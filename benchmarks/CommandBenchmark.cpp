#include "benchmarks/SilentVendor.h"
#include "commands/VrelFlashUtils.h"
#include "commands/support/VrelRuxModule.h"
#include "external/JsonObject.h"
#include "external/LogHandler.h"
#include "plugin/VrelManager.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QTemporaryDir>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr qint64 kSmallModule = 132;
constexpr qint64 kHugeModule = qint64{1} << 30; ///< a sparse file: takes no room

/** A recovery module of zeros that lives as long as a benchmark. */
class Module
{
public:
    explicit Module(qint64 size)
        : m_path(m_folder.filePath(QStringLiteral("module.bin")))
    {
        QFile file(m_path);
        m_isReady = file.open(QIODevice::WriteOnly) && file.resize(size);
    }

    bool isReady() const { return m_isReady; }
    QString path() const { return m_path; }

private:
    QTemporaryDir const m_folder;
    QString const m_path;
    bool m_isReady = false;
};

void ignoreApiMessage(unsigned long /*level*/, char const* /*text*/, void* /*context*/)
{
}

void parseAndRunEraseToken(benchmark::State& state)
{
    Module const module(kSmallModule);
    JsonObject request;
    request.setValue(QStringLiteral("command"), "erasetoken");
    request.setValue(QStringLiteral("fw_rux"), module.path());
    request.setValue(QStringLiteral("slot"), 1U);
    QString const serial = QString::fromLatin1(kSerial);
    SilentVendor const vendor;
    VrelManager manager;
    VrelApiManager const api = manager.fetchApi();
    LogHandler log;
    for (auto _ : state) {
        VrelFlashUtils utils;
        if (!utils.parseArguments(request, log) || !utils.run(api, serial, log))
            state.SkipWithError("erasetoken failed");
    }
}

void readModuleAndCallApi(benchmark::State& state)
{
    Module const module(kSmallModule);
    QByteArray const path = module.path().toUtf8();
    SilentVendor const vendor;
    VrelManager manager;
    VrelApiManager const api = manager.fetchApi();
    char errorText[kVrelErrorTextSize] = {};
    for (auto _ : state) {
        unsigned char version[2];
        int const file = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        bool const isRead = ::pread(file, version, sizeof version, kSmallModule - 2) == sizeof version;
        ::close(file);
        benchmark::DoNotOptimize(version);
        if (!isRead ||
            api->eraseToken(path.constData(), 1, kSerial, errorText, &ignoreApiMessage, nullptr) != 0)
            state.SkipWithError("module or API failed");
    }
}

void moduleVersion(benchmark::State& state, qint64 size)
{
    Module const module(size);
    if (!module.isReady())
        state.SkipWithError("no module");
    for (auto _ : state) {
        QString const version = VrelUtilsCommand::getRuxModuleVersion(module.path());
        benchmark::DoNotOptimize(version.constData());
    }
}

void versionOfHugeModule(benchmark::State& state)
{
    moduleVersion(state, kHugeModule);
}

void versionOfSmallModule(benchmark::State& state)
{
    moduleVersion(state, kSmallModule);
}

BENCHMARK(parseAndRunEraseToken)->Name("erasetoken/library");
BENCHMARK(readModuleAndCallApi)->Name("erasetoken/yardstick");
BENCHMARK(versionOfHugeModule)->Name("module_version/library");
BENCHMARK(versionOfSmallModule)->Name("module_version/yardstick");

} // namespace
