#include "commands/VrelFlashUtils.h"
#include "external/JsonObject.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"
#include "tests/support/FakeVendor.h"

#include <QFile>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace {

constexpr unsigned long long kNoTimeout = ~0ULL;
constexpr qint64 kMebibyte = 1024 * 1024;

bool write(QString const& path, QByteArray const& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

/** The most memory, in KiB, that was resident since the last reset. */
long peak()
{
    QFile status(QStringLiteral("/proc/self/status"));
    constexpr char const* kKey = "VmHWM:";
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    QByteArray const text = status.readAll();
    return std::strtol(text.constData() + text.indexOf(kKey) + std::strlen(kKey), nullptr, 10);
}

void resetPeak()
{
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    if (file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        file.write("5");
}

/** Prints by how many KiB the memory grew at most meanwhile, and what seconds passed. */
template <typename Action>
bool measure(Action const& action)
{
    resetPeak();
    long const before = peak();
    auto const start = std::chrono::steady_clock::now();
    if (!action())
        return false;
    std::chrono::duration<double> const passed = std::chrono::steady_clock::now() - start;
    return std::printf("%ld %.6f\n", peak() - before, passed.count()) > 0;
}

JsonObject eraseTokenRequest(QString const& module)
{
    JsonObject request;
    request.setValue(QStringLiteral("command"), "erasetoken");
    request.setValue(QStringLiteral("fw_rux"), module);
    request.setValue(QStringLiteral("slot"), 1U);
    return request;
}

/** A downloader that prints so many MiB of lines. */
bool flood(int size, QTemporaryDir const& folder)
{
    QString const downloader = folder.filePath(QStringLiteral("downloader"));
    QByteArray const line(79, '=');
    qint64 logged = 0; // bytes, with the line ends
    setLogSink([&logged](LogLine const& logLine) { logged += logLine.text.size() + 1; });
    VrelFlashUtils utils(eraseTokenRequest(QStringLiteral("module.bin")));
    LogHandler log;
    return write(downloader, "#!/bin/sh\nyes " + line + " | head -c " + QByteArray::number(size) + "M\n") &&
           measure([&] {
               return utils.run(downloader, QString(), log, kNoTimeout) && logged >= size * kMebibyte;
           });
}

/** A request with a text of so many MB, which is twice as much in memory. */
bool largeRequest(int size, QTemporaryDir const& /*folder*/)
{
    JsonObject const request = eraseTokenRequest(QString(size * 1000 * 1000, QLatin1Char('m')));
    VrelFlashUtils utils;
    LogHandler log;
    return measure([&] { return utils.parseArguments(request, log); });
}

/** So many devices, each with a thread and a command of its own, all of them within the vendor library at
 * once. */
bool manyDevices(int count, QTemporaryDir const& folder)
{
    QString const module = folder.filePath(QStringLiteral("module.bin"));
    FakeVendor vendor;
    std::atomic<int> inside{0};
    std::atomic<int> succeeded{0};
    vendor.onCall = [&](VrelApiLogCallback, void*) {
        ++inside;
        while (inside < count)
            std::this_thread::yield();
    };
    auto const serve = [&](VrelManager& manager, QString const& serial) {
        VrelFlashUtils utils;
        LogHandler log;
        if (utils.parseArguments(eraseTokenRequest(module), log) &&
            utils.run(manager.fetchApi(), serial, log))
            ++succeeded;
    };
    return write(module, QByteArray(132, '\0')) && measure([&] {
               VrelManager manager;
               std::vector<std::thread> threads;
               threads.reserve(static_cast<std::size_t>(count));
               for (int i = 0; i < count; ++i)
                   threads.emplace_back(serve, std::ref(manager), QString::number(i));
               for (std::thread& thread : threads)
                   thread.join();
               return inside == count && succeeded == count;
           });
}

struct
{
    char const* name;
    bool (*measure)(int size, QTemporaryDir const& folder);
} const kCases[] = {{"flood", &flood}, {"request", &largeRequest}, {"devices", &manyDevices}};

} // namespace

/** usage: vrelbench_peak flood|request|devices SIZE */
int main(int argc, char* argv[])
{
    QTemporaryDir const folder;
    for (auto const& [name, measureCase] : kCases) {
        if (argc == 3 && std::strcmp(argv[1], name) == 0)
            return measureCase(QByteArray(argv[2]).toInt(), folder) ? 0 : 1;
    }
    return 2;
}
