#include "benchmarks/SilentVendor.h"
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
        LogConsoleHandler const console(process);
        process.start(downloader, arguments, QIODevice::ReadWrite);
        if (!process.waitForFinished(kTimeout) || process.exitCode() != 0)
            state.SkipWithError("run failed");
    }
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

/** Starts a process in that place, its output dropped, and waits for its end; gives its status. */
int statusOf(Place const& place, std::vector<char*> const& arguments)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, place.path().constData());
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    int status = -1;
    if (posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ) != 0 ||
        waitpid(process, &status, 0) != process)
        status = -1;
    posix_spawn_file_actions_destroy(&actions);
    return status;
}

/** @param worstExitCode not 0 for programs that fail where they find no device */
void runProcess(benchmark::State& state, int worstExitCode, std::initializer_list<char const*> command)
{
    static Place const s_place;
    std::vector<char*> arguments;
    for (char const* const argument : command)
        arguments.push_back(const_cast<char*>(argument));
    arguments.push_back(nullptr);
    if (!s_place.isReady())
        state.SkipWithError("no rig");
    shrinkHeap();
    for (auto _ : state) {
        int const status = statusOf(s_place, arguments);
        if (!WIFEXITED(status) || WEXITSTATUS(status) > worstExitCode)
            state.SkipWithError("process failed");
    }
}

#define VREL_PROCESS(name, ...) BENCHMARK_CAPTURE(runProcess, , __VA_ARGS__)->Name(name)->UseRealTime()

BENCHMARK(runOutOfProcess)->Name("out_of_process/library")->UseRealTime();
BENCHMARK(startAndWait)->Name("out_of_process/yardstick")->UseRealTime();
VREL_PROCESS("load_library/library", 0, {VREL_MANAGER_PROCESS});
VREL_PROCESS("load_library/yardstick", 0, {VREL_QTCORE_PROCESS});
VREL_PROCESS("dump_process/library", 0, {VREL_DUMP_PROCESS, "dumped.bin"});
VREL_PROCESS("dump_process/yardstick", 0, {"xxd", "-p", "dumped.bin"});
VREL_PROCESS("scan_dfu_process/library", 0, {VREL_HOST_TOOL, "scan", "--sysfs", "rig/sysfs"});
VREL_PROCESS("scan_dfu_process/yardstick", 0, {"dfu-util", "-l"});
VREL_PROCESS("scan_lsusb_process/library", 0, {VREL_HOST_TOOL, "scan", "--sysfs", "rig/sysfs"});
VREL_PROCESS("scan_lsusb_process/yardstick", 1, {"lsusb"});

} // namespace
