#include "tools/vrelhost/RunCommand.h"

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "plugin/VrelManager.h"
#include "tools/common/ExitCode.h"
#include "tools/vrelhost/DeviceSelection.h"
#include "tools/vrelhost/DownloaderRun.h"
#include "tools/vrelhost/RequestRules.h"
#include "tools/vrelhost/RunLog.h"
#include "tools/vrelhost/RunReport.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <atomic>
#include <sys/resource.h>
#include <system_error>
#include <thread>
#include <utility>

namespace {

/** Every device that is being worked on takes some open files, and the usual limit is 1024. */
void allowMostOpenFiles()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    static_cast<void>(::setrlimit(RLIMIT_NOFILE, &limit)); // without it, some devices report the lack
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

} // namespace

/** One device's request, parsed, with all that its run uses. */
struct RunCommand::DeviceRun
{
    QString serial;
    VrelApiManager api; ///< without an API object out of process
    VrelFlashUtils command;

    DeviceRun(QString serialNumber, VrelApiManager const& handle)
        : serial(std::move(serialNumber))
        , api(handle)
    {
    }
};

RunCommand::RunCommand(RunOptions options, JsonObject const& request, LogHandler& log, Progress progress)
    : m_options(std::move(options))
    , m_template(request)
    , m_log(log)
    , m_progress(std::move(progress))
{
}

RunCommand::Result RunCommand::run()
{
    m_interruption.emplace();
    std::optional<VrelManager> manager; // only where the vendor API is used: it gives a hold back at its end
    bool const usesApi = isInProcess() || needsList();
    if (usesApi)
        manager.emplace();
    // Before the vendor API is asked for devices: errors are logged once, and a bad request touches nothing.
    if (!RequestRules::accept(m_template.request(), m_log))
        return {ExitRejected, {}};
    VrelApiManager api;
    VendorApi::DeviceList list;
    if (usesApi) {
        api = VendorApi::fetch(*manager, m_log);
        if (!api || !readList(api, list))
            return {ExitFailure, {}};
    }
    if (!isInProcess()) { // for the downloaders to take
        api = VrelApiManager();
        manager.reset();
    }
    auto const chosen = devices(list);
    DeviceRuns runs;
    if (!chosen || !prepare(*chosen, api, runs))
        return {ExitRejected, {}};
    if (m_options.isDryRun)
        return {ExitSuccess, downloaderArguments(runs)};
    if (m_options.isMany)
        return runMany(*chosen, runs);
    if (Interruption::isRequested()) {
        m_log.logMessage(kErrorLevel, "Interrupted: the request was not run");
        return {ExitFailure, {}};
    }
    return {runOne(runs.front(), m_log) ? ExitSuccess : ExitFailure, {}};
}

bool RunCommand::isInProcess() const
{
    return !m_options.exe && !m_options.isDryRun;
}

bool RunCommand::needsList() const
{
    return m_options.isAll || m_options.hasPath() || m_template.needsPath() ||
           (m_options.isMany && isInProcess());
}

bool RunCommand::readList(VrelApiManager& api, VendorApi::DeviceList& list) const
{
    if (!needsList())
        return true;
    auto listed = VendorApi::list(api, m_log);
    if (!listed)
        return false;
    list = std::move(*listed);
    if (!m_options.isAll)
        return true;
    VendorApi::warnOfFullList(list, m_log);
    if (list.empty())
        m_log.logMessage(
            kErrorLevel,
            "The vendor API lists no device: connect one in recovery mode, or name it with --sn");
    return !list.empty();
}

std::optional<std::vector<DeviceName>> RunCommand::devices(VendorApi::DeviceList const& list) const
{
    bool const isNamed = m_options.isAll || !m_options.devices.empty();
    auto chosen = isNamed ? selectDevices(m_options, list, m_log) : std::vector<DeviceName>(1);
    if (chosen && m_options.isMany && isInProcess() && !areListed(*chosen, list, m_log))
        return std::nullopt;
    return chosen;
}

bool RunCommand::prepare(std::vector<DeviceName> const& devices, VrelApiManager const& api,
                         DeviceRuns& runs) const
{
    TargetFiles targets;
    for (DeviceName const& device : devices) {
        QString error;
        auto const request = m_template.forDevice(device, error);
        if (request)
            error = targets.take(*request, device);
        if (!error.isEmpty()) {
            m_log.logMessage(kErrorLevel, error);
            return false;
        }
        if (!runs.emplace_back(device.serial, api).command.parseArguments(*request, m_log))
            return false;
    }
    return true;
}

QByteArray RunCommand::downloaderArguments(DeviceRuns& runs) const
{
    QByteArray lines;
    for (DeviceRun& run : runs) {
        QStringList const arguments = DownloaderRun(run.command, run.serial, m_log).arguments();
        lines += QJsonDocument(QJsonArray::fromStringList(arguments)).toJson(QJsonDocument::Compact) + '\n';
    }
    return lines;
}

bool RunCommand::runOne(DeviceRun& run, LogHandler& log) const
{
    if (m_options.exe)
        return DownloaderRun(run.command, run.serial, log).run(*m_options.exe, m_options.timeout);
    return run.command.run(run.api, run.serial, log);
}

RunCommand::Result RunCommand::runMany(std::vector<DeviceName> const& devices, DeviceRuns& runs)
{
    int const total = static_cast<int>(devices.size());
    std::vector<DeviceResult> results(devices.size());
    RunLog runLog;
    std::vector<LogHandler*> logs;
    logs.reserve(devices.size());
    for (DeviceName const& device : devices)
        logs.push_back(&runLog.add(device));
    std::atomic<int> done{0};
    m_progress(0, total);
    auto const work = [&](int index) {
        auto const i = static_cast<std::size_t>(index);
        QElapsedTimer timer;
        timer.start();
        bool const succeeded = runOne(runs[i], *logs[i]);
        results[i].outcome = succeeded ? DeviceResult::Success : DeviceResult::Failure;
        results[i].duration = timer.elapsed();
        m_progress(++done, total);
    };
    int const jobs = m_options.exe ? 1 : std::min(m_options.jobs.value_or(total), total);
    if (jobs > 1)
        allowMostOpenFiles();
    int const atATime = runAtATime(total, jobs, work);
    if (atATime < jobs)
        m_log.logMessage(kWarningLevel,
                         QStringLiteral("At most %1 of %2 devices ran at a time: the system gave no more "
                                        "threads")
                             .arg(atATime)
                             .arg(jobs));
    if (done < total)
        m_log.logMessage(kErrorLevel,
                         QStringLiteral("Interrupted: the request was not run on %1 of %2 devices")
                             .arg(total - done)
                             .arg(total));

    for (std::size_t i = 0; i < results.size(); ++i) {
        results[i].device = devices[i];
        results[i].error = runLog.lastError(*logs[i]);
    }
    bool const succeeded = std::all_of(results.begin(), results.end(), [](DeviceResult const& result) {
        return result.outcome == DeviceResult::Success;
    });
    return {succeeded ? ExitSuccess : ExitFailure,
            m_options.isJson ? RunReport::toJson(results) : RunReport::toTable(results)};
}
