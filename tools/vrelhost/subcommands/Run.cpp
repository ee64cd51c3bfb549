#include "external/LogHandler.h"
#include "tools/common/ToolProcess.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/commandline/OptionTable.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/request/RequestRules.h"
#include "tools/vrelhost/runs/DeviceRun.h"
#include "tools/vrelhost/runs/DeviceSelection.h"
#include "tools/vrelhost/subcommands/DeviceSubcommand.h"
#include "tools/vrelhost/subcommands/Subcommands.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace {

using VendorApi::DeviceList;
using DeviceRuns = std::deque<DeviceRun>;

constexpr DeviceSubcommand::Option kRunOptions[] = {
    {"sn",
     "SERIAL",
     {},
     "The device with this serial number; default: the only device. May be given several times."},
    {"path", "USB-PATH", {}, "The device at this USB path, such as 1-4.2. May be given several times."},
    {"all", "", &RunOptions::isAll, "All devices that the vendor API lists, at most 24."},
    {"wait", "SECONDS", DeviceSubcommand::Number{&RunOptions::wait, "seconds", 1, Step::kLongest},
     "Wait up to SECONDS for the vendor API to become free and the devices to appear."},
    {"dry-run", "", &RunOptions::isDryRun,
     "Touch no device; print the downloader's arguments as a JSON array."},
};

bool isInProcess(RunOptions const& options)
{
    return !options.exe && !options.isDryRun;
}

bool needsList(RunSetting const& setting)
{
    RunOptions const& options = setting.options;
    return options.isAll || options.hasPath() || setting.recipe.needsPath() ||
           (options.isMany && isInProcess(options)) ||
           (setting.recipe.has("exec") && !options.isDryRun); // whose environment has the path
}

/** What is not there, as a sentence; empty when everything is. One who waits names all devices there. */
QString missing(RunOptions const& options, VrelApiManager& api, DeviceList& list)
{
    QString error;
    auto listed = VendorApi::list(api, error);
    if (!listed)
        return error;
    list = std::move(*listed);
    if (!options.wait)
        return options.isAll && list.empty()
                   ? QStringLiteral("The vendor API lists no device: connect one in "
                                    "recovery mode, or name it with --sn")
                   : QString();
    if (list.empty() && (options.isAll || options.devices.empty()))
        return QStringLiteral("The vendor API lists no device");
    QStringList const absent = unlisted(options, list);
    return absent.isEmpty()
               ? QString()
               : QStringLiteral("The vendor API does not list %1").arg(absent.join(QStringLiteral(", ")));
}

/** Takes the vendor API and looks for the devices, for as long as --wait says. */
bool findDevices(RunSetting& setting, VrelApiManager& api, DeviceList& list)
{
    RunOptions const& options = setting.options;
    if (!options.wait && !needsList(setting)) {
        api = VendorApi::fetch(*setting.manager, setting.toolLog);
        return api;
    }
    QString cause;
    auto const isThere = [&] {
        api = setting.manager->fetchApi();
        cause = missing(options, api, list);
        if (!cause.isEmpty())
            api = VrelApiManager(); // for others who wait too
        return cause.isEmpty();
    };
    bool isFound = isThere();
    if (!isFound && options.wait) {
        setting.toolLog.logMessage(kProgressLevel,
                                   QStringLiteral("Waiting up to %1 s: ").arg(*options.wait) + cause);
        isFound = Interruption::retry(isThere, std::chrono::seconds(*options.wait));
        cause.prepend(Interruption::isRequested()
                          ? QStringLiteral("Interrupted while waiting, nothing was run: ")
                          : QStringLiteral("Waited %1 s, nothing was run: ").arg(*options.wait));
    }
    if (!isFound)
        setting.toolLog.logMessage(kErrorLevel, cause);
    else if (options.isAll)
        VendorApi::warnOfFullList(list, setting.toolLog);
    return isFound;
}

std::vector<DeviceName> chooseDevices(RunOptions const& options, DeviceList const& list)
{
    auto chosen = options.isNamed() ? selectDevices(options, list) : std::vector<DeviceName>(1);
    if (options.isMany && isInProcess(options))
        requireListed(chosen, list);
    return chosen;
}

/** What is known of devices before they are looked for, under paths that stand for theirs. */
std::vector<DeviceName> awaitedDevices(RunOptions const& options)
{
    std::vector<DeviceName> known(options.isNamed() ? 0 : 1);
    for (RunOptions::Device const& device : options.devices) {
        if (!device.isPath)
            known.push_back({device.text, QString::number(known.size())});
    }
    return known;
}

/** Devices that are done need no judgement. */
bool judge(std::vector<DeviceName> const& devices, RunSetting& setting, VrelApiManager const& api,
           TargetFiles& targets, DeviceRuns& runs)
{
    return std::all_of(devices.begin(), devices.end(), [&](DeviceName const& device) {
        DeviceRun& run = runs.emplace_back(setting, device, api);
        return run.isDone() || run.prepare(targets, setting.toolLog);
    });
}

/**
 * Calls `work` with 0 to `count` - 1, in that order, up to `jobs` calls at a time, on this thread and others;
 * returns when all calls have. Once an end was asked for, no further call begins. Where the system has no
 * more threads, fewer calls are made at a time.
 * @return how many there were at a time
 */
int runAtATime(int count, int jobs, std::function<void(int)> const& work)
{
    std::atomic<int> next{0};
    auto const takeAndWork = [&] {
        for (int index = next++; index < count && !Interruption::isRequested(); index = next++)
            work(index);
    };
    std::vector<std::thread> others;
    try {
        for (int i = 1; i < std::min(jobs, count); ++i)
            others.emplace_back(takeAndWork);
    } catch (std::system_error const&) {
        // Those that there are, and this one, do all the work.
    }
    takeAndWork();
    for (std::thread& other : others)
        other.join();
    return static_cast<int>(others.size()) + 1;
}

/** A device that is to be run. */
struct Due
{
    DeviceRun& run;
    LogHandler& log;
};

void run(Due const& due)
{
    due.run.run(due.log);
    DeviceResult const& result = due.run.result();
    if (result.kind == Outcome::NotRun)
        due.log.logMessage(kErrorLevel, result.error + QStringLiteral("; nothing was run"));
}

void runOne(Due const& due, RunSetting const& setting)
{
    if (Interruption::isRequested())
        setting.toolLog.logMessage(kErrorLevel, "Interrupted: the request was not run");
    else
        run(due);
}

/** As many at a time as the options allow. */
void runMany(std::vector<Due> const& due, RunSetting const& setting)
{
    int const total = static_cast<int>(due.size());
    std::atomic<int> done{0};
    auto const showProgress = [&] {
        setting.console.showProgress(QStringLiteral("%1/%2").arg(done).arg(total));
    };
    showProgress();
    auto const work = [&](int index) {
        run(due[static_cast<std::size_t>(index)]);
        ++done;
        showProgress();
    };
    int const jobs = setting.options.exe ? 1 : std::min(setting.options.jobs.value_or(total), total);
    int const atATime = runAtATime(total, jobs, work);
    if (atATime < jobs)
        setting.toolLog.logMessage(
            kWarningLevel,
            QStringLiteral("At most %1 of %2 devices ran at a time: the system allows no more threads")
                .arg(atATime)
                .arg(jobs));
    if (done < total)
        setting.toolLog.logMessage(kErrorLevel,
                                   QStringLiteral("Interrupted: the request was not run on %1 of %2 devices")
                                       .arg(total - done)
                                       .arg(total));
}

QByteArray report(DeviceRuns const& runs, RunSetting const& setting)
{
    std::vector<DeviceResult> results;
    for (DeviceRun const& run : runs)
        results.push_back(run.result());
    return setting.options.isJson ? RunReport::toJson(results)
                                  : RunReport::toTable(results, setting.recipe.isArray);
}

/** What is to be written is left in `output`. @return whether all is well */
bool runAll(DeviceRuns& runs, RunSetting& setting, QByteArray& output)
{
    std::vector<Due> due;
    for (DeviceRun& run : runs) {
        if (run.result().kind == Outcome::Done)
            continue;
        QString error;
        due.push_back({run, setting.log->add(run.result().device, setting.options.isMany, error)});
        if (!error.isEmpty()) {
            setting.toolLog.logMessage(kErrorLevel, error);
            return false;
        }
    }
    if (setting.options.isMany) {
        runMany(due, setting);
        output = report(runs, setting);
    } else {
        runOne(due.front(), setting);
    }
    return !setting.hasLedgerGap &&
           std::all_of(runs.begin(), runs.end(), [](DeviceRun const& run) { return run.result().isGood(); });
}

/** What is to be written is left in `output`. @return the exit code */
int judgeAndRun(RunSetting& setting, QByteArray& output)
{
    RunOptions const& options = setting.options;
    bool const looks = isInProcess(options) || needsList(setting) || (options.wait && !options.isDryRun);
    if (looks || (setting.recipe.has("wait") && !options.isDryRun))
        setting.manager.emplace();
    if (!options.isDryRun && !setting.prepare())
        return ExitFailure;
    setting.ledger->makeReady();
    VrelApiManager api;
    TargetFiles awaitedTargets;
    TargetFiles targets;
    DeviceRuns runs;
    if (options.wait && !judge(awaitedDevices(options), setting, api, awaitedTargets, runs))
        return ExitRejected;
    DeviceList list;
    if (looks && !findDevices(setting, api, list))
        return ExitFailure;
    if (!isInProcess(options))
        api = VrelApiManager(); // the downloaders take it
    runs.clear();
    if (!judge(chooseDevices(options, list), setting, api, targets, runs))
        return ExitRejected;
    if (!options.isDryRun)
        return runAll(runs, setting, output) ? ExitSuccess : ExitFailure;
    int exitCode = ExitSuccess;
    for (DeviceRun& run : runs) {
        auto const lines = run.downloaderArguments(setting.toolLog);
        output += lines.value_or(QByteArray());
        exitCode = lines ? exitCode : ExitFailure;
    }
    return exitCode;
}

int runOnDevices(RunSetting& setting)
{
    QByteArray output;
    int exitCode = ExitFailure;
    try {
        exitCode = judgeAndRun(setting, output);
    } catch (LedgerError const& error) {
        setting.toolLog.logMessage(kErrorLevel, error.text() + QStringLiteral("; nothing was run"));
    }
    setting.manager.reset(); // others may take the vendor API while the result is being written
    setting.console.showWork(false);
    if (output.isEmpty() && setting.options.isJson && !setting.options.isDryRun && exitCode != ExitRejected)
        output = RunReport::toJson({});
    return output.isEmpty() || setting.console.print(output) == ExitSuccess ? exitCode : ExitFailure;
}

QList<QCommandLineOption> runOptions()
{
    return definitions(kRunOptions) + DeviceSubcommand::options();
}

/** All devices' requests are judged before anything is run. */
int carryOutRun(Invocation const& call)
{
    RunOptions given;
    readOptions(call.options, kRunOptions, given);
    return DeviceSubcommand::carryOut(call, given, Interruption::Steps, runOnDevices);
}

} // namespace

Subcommands::Rows Subcommands::run()
{
    return {{"run", DeviceSubcommand::kRequestOrRecipe, runOptions, carryOutRun,
             "Runs a request or a recipe on one device or many, in-process or through a downloader.",
             "success; with many devices, on every one",
             "failure; with many devices, on one or more. Also: no vendor API, no device,\n     an "
             "interruption, or a result that cannot be written",
             R"(vrelhost run '{"command": "startover", "flags": 1}' --sn 0A1B2C3D)"}};
}
