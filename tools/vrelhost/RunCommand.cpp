#include "tools/vrelhost/RunCommand.h"

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "plugin/VrelManager.h"
#include "tools/common/ExitCode.h"
#include "tools/vrelhost/DeviceSelection.h"
#include "tools/vrelhost/RequestRules.h"
#include "tools/vrelhost/RequestRunner.h"
#include "tools/vrelhost/RunAtATime.h"
#include "tools/vrelhost/RunLog.h"
#include "tools/vrelhost/RunReport.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <atomic>
#include <sys/resource.h>
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
    return {runOne(runs.front(), m_log, nullptr) ? ExitSuccess : ExitFailure, {}};
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
            1, "The vendor API lists no device: connect one in recovery mode, or name it with --sn");
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
            m_log.logMessage(1, error);
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
        QStringList const arguments = RequestRunner(run.command, run.serial, m_log).downloaderArguments();
        lines += QJsonDocument(QJsonArray::fromStringList(arguments)).toJson(QJsonDocument::Compact) + '\n';
    }
    return lines;
}

bool RunCommand::runOne(DeviceRun& run, LogHandler& log, Interruption const* interruption) const
{
    if (m_options.exe)
        return RequestRunner(run.command, run.serial, log, interruption)
            .runDownloader(*m_options.exe, m_options.timeout);
    return run.command.run(run.api, run.serial, log);
}

RunCommand::Result RunCommand::runMany(std::vector<DeviceName> const& devices, DeviceRuns& runs)
{
    int const total = static_cast<int>(devices.size());
    std::vector<DeviceResult> results(devices.size());
    Interruption const& interruption = m_interruption.emplace();
    RunLog const runLog(devices);
    std::atomic<int> done{0};
    m_progress(0, total);
    auto const work = [&](int index) {
        auto const i = static_cast<std::size_t>(index);
        LogHandler log;
        log.setName(QStringLiteral("vrelhost"));
        log.setPrefix(RunLog::label(devices[i]));
        QElapsedTimer timer;
        timer.start();
        bool const succeeded = runOne(runs[i], log, &interruption);
        results[i].outcome = succeeded ? DeviceResult::Success : DeviceResult::Failure;
        results[i].duration = timer.elapsed();
        m_progress(++done, total);
    };
    int const jobs = m_options.exe ? 1 : std::min(m_options.jobs.value_or(total), total);
    if (jobs > 1)
        allowMostOpenFiles();
    int const atATime = runAtATime(
        total, jobs, [&] { return interruption.isRequested(); }, work);
    if (atATime < jobs)
        m_log.logMessage(2, QStringLiteral("At most %1 of %2 devices ran at a time: the system gave no more "
                                           "threads")
                                .arg(atATime)
                                .arg(jobs));
    if (done < total)
        m_log.logMessage(1, QStringLiteral("Interrupted: the request was not run on %1 of %2 devices")
                                .arg(total - done)
                                .arg(total));

    for (std::size_t i = 0; i < results.size(); ++i) {
        results[i].device = devices[i];
        results[i].error = runLog.lastError(devices[i]);
    }
    bool const succeeded = std::all_of(results.begin(), results.end(), [](DeviceResult const& result) {
        return result.outcome == DeviceResult::Success;
    });
    return {succeeded ? ExitSuccess : ExitFailure,
            m_options.isJson ? RunReport::toJson(results) : RunReport::toTable(results)};
}
