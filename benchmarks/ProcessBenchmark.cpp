#include "benchmarks/SilentVendor.h"
#include "benchmarks/Turns.h"
#include "commands/VrelFlashUtils.h"
#include "external/JsonObject.h"
#include "external/LogConsoleHandler.h"
#include "external/LogHandler.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <initializer_list>
#include <vector>

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
    QStringList const arguments{QStringLiteral("--command"), QStringLiteral("erasetoken"),
                                QStringLiteral("--sn"),      QString::fromLatin1(kSerial),
                                QStringLiteral("--fw_rux"),  QString::fromLatin1(kModule),
                                QStringLiteral("--slot"),    QStringLiteral("1")};
    bool isSuccess = true;
    Turns turns;
    shrinkHeap();
    for (auto _ : state) {
        turns.yardstick([&] {
            QProcess process;
            LogConsoleHandler const console(process);
            process.start(downloader, arguments, QIODevice::ReadWrite);
            isSuccess = isSuccess && process.waitForFinished(kTimeout) && process.exitCode() == 0;
        });
        turns.library(state, [&] { isSuccess = isSuccess && utils.run(downloader, serial, log, kTimeout); });
    }
    if (!isSuccess)
        state.SkipWithError("run failed");
    turns.report(state);
}

/** Where processes run that read files: a rig of two devices, and bytes to dump. */
class Place
{
public:
    Place()
    {
        QFile dumped(m_folder.filePath(QStringLiteral("dumped.bin")));
        m_isReady = dumped.open(QIODevice::WriteOnly) && dumped.resize(kDumpedSize) &&
                    QProcess::execute(QStringLiteral(VREL_HOST_TOOL),
                                      {QStringLiteral("rig"), QStringLiteral("create"), rig(),
                                       QStringLiteral("--devices"), QStringLiteral("2")}) == 0 &&
                    qputenv("VREL_RIG", QFile::encodeName(rig()));
    }

    bool isReady() const { return m_isReady; }
    QByteArray path() const { return QFile::encodeName(m_folder.path()); }

private:
    static constexpr qint64 kDumpedSize = 1024 * 1024;

    QString rig() const { return m_folder.filePath(QStringLiteral("rig")); }

    QTemporaryDir const m_folder;
    bool m_isReady = false;
};

using Command = std::initializer_list<char const*>;

/** Runs a process in that place, its output dropped; gives its exit code, or -1. */
int run(Place const& place, Command command)
{
    std::vector<char*> arguments;
    for (char const* const argument : command)
        arguments.push_back(const_cast<char*>(argument));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, place.path().constData());
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    int status = -1;
    bool const isRun =
        posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ) == 0 &&
        waitpid(process, &status, 0) == process && WIFEXITED(status);
    posix_spawn_file_actions_destroy(&actions);
    return isRun ? WEXITSTATUS(status) : -1;
}

/** @param worstExitCode the yardstick's; lsusb fails where there is no device */
void runProcesses(benchmark::State& state, Command library, Command yardstick, int worstExitCode = 0)
{
    static Place const s_place;
    bool isSuccess = s_place.isReady();
    Turns turns;
    shrinkHeap();
    for (auto _ : state) {
        turns.yardstick([&] {
            int const result = run(s_place, yardstick);
            isSuccess = isSuccess && result >= 0 && result <= worstExitCode;
        });
        turns.library(state, [&] { isSuccess = isSuccess && run(s_place, library) == 0; });
    }
    if (!isSuccess)
        state.SkipWithError("a process failed");
    turns.report(state);
}

#define VREL_PROCESSES(name, ...)                                                                            \
    BENCHMARK_CAPTURE(runProcesses, , __VA_ARGS__)->Name(name "/both")->UseManualTime()

BENCHMARK(runOutOfProcess)->Name("out_of_process/both")->UseManualTime();
VREL_PROCESSES("load_library", {VREL_MANAGER_PROCESS}, {VREL_QTCORE_PROCESS});
VREL_PROCESSES("start_usages", {VREL_HOST_TOOL, "usages"}, {VREL_APPLICATION_PROCESS});
VREL_PROCESSES("start_version", {VREL_HOST_TOOL, "version"}, {VREL_APPLICATION_PROCESS});
VREL_PROCESSES("start_get_serial", {VREL_DOWNLOADER, "getSerial", "--quiet", "--uid", "1-1.1"},
               {VREL_APPLICATION_PROCESS});
VREL_PROCESSES("start_scan", {VREL_HOST_TOOL, "scan", "--sysfs", "rig/sysfs"}, {VREL_APPLICATION_PROCESS});
VREL_PROCESSES("dump_beside_xxd", {VREL_DUMP_PROCESS, "dumped.bin"}, {"xxd", "-p", "dumped.bin"});
VREL_PROCESSES("scan_beside_dfu", {VREL_HOST_TOOL, "scan", "--sysfs", "rig/sysfs"}, {"dfu-util", "-l"});
VREL_PROCESSES("scan_beside_lsusb", {VREL_HOST_TOOL, "scan", "--sysfs", "rig/sysfs"}, {"lsusb"}, 1);

} // namespace
