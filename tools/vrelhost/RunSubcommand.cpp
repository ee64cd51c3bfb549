#include "tools/vrelhost/RunSubcommand.h"

#include "external/LogHandler.h"
#include "tools/common/ExitCode.h"
#include "tools/vrelhost/DeviceSelection.h"
#include "tools/vrelhost/RequestRules.h"
#include "tools/vrelhost/TerminalLog.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>

namespace {

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

RunSubcommand::RunSubcommand(RunOptions options, Recipe recipe, LogHandler& log, TerminalLog* terminal)
    : m_options(std::move(options))
    , m_recipe(std::move(recipe))
    , m_log(log)
    , m_terminal(terminal)
{
}

RunSubcommand::Result RunSubcommand::run()
{
    m_interruption.emplace();
    RunSetting setting(m_options, m_recipe);
    bool const mayWait = m_options.wait || m_recipe.has("wait");
    if (isInProcess() || needsList() || (mayWait && !m_options.isDryRun))
        setting.manager.emplace();
    if (!m_options.isDryRun && !setting.prepare(m_log, m_terminal))
        return {ExitFailure, {}};
    VrelApiManager api;
    DeviceRuns runs;
    if (m_options.wait && !judge(awaited(), setting, api, runs))
        return {ExitRejected, {}};
    VendorApi::DeviceList list;
    bool const looks = isInProcess() || needsList() || (m_options.wait && !m_options.isDryRun);
    if (looks && !find(*setting.manager, api, list))
        return {ExitFailure, {}};
    if (!isInProcess())
        api = VrelApiManager(); // the downloaders take it
    auto const chosen = devices(list);
    if (!chosen)
        return {ExitRejected, {}};
    runs.clear();
    if (!judge(*chosen, setting, api, runs))
        return {ExitRejected, {}};
    if (m_options.isDryRun)
        return {ExitSuccess, downloaderArguments(runs)};
    std::vector<LogHandler*> logs;
    for (DeviceName const& device : *chosen) {
        QString error;
        logs.push_back(&setting.log->add(device, m_options.isMany, error));
        if (!error.isEmpty()) {
            m_log.logMessage(kErrorLevel, error);
            return {ExitFailure, {}};
        }
    }
    return m_options.isMany ? runMany(runs, logs) : runOne(runs.front(), *logs.front());
}

bool RunSubcommand::isInProcess() const
{
    return !m_options.exe && !m_options.isDryRun;
}

bool RunSubcommand::needsList() const
{
    return m_options.isAll || m_options.hasPath() || m_recipe.needsPath() ||
           (m_options.isMany && isInProcess());
}

/** Takes the vendor API and looks for the devices, for as long as --wait says. */
bool RunSubcommand::find(VrelManager& manager, VrelApiManager& api, VendorApi::DeviceList& list) const
{
    if (!m_options.wait) {
        api = VendorApi::fetch(manager, m_log);
        return api && readList(api, list);
    }
    QString cause;
    auto const isThere = [&] {
        api = manager.fetchApi();
        cause = missing(api, list);
        if (!cause.isEmpty())
            api = VrelApiManager(); // for others who wait too
        return cause.isEmpty();
    };
    bool isFound = isThere();
    if (!isFound) {
        m_log.logMessage(kProgressLevel, QStringLiteral("Waiting up to %1 s: ").arg(*m_options.wait) + cause);
        isFound = Interruption::retry(isThere, std::chrono::seconds(*m_options.wait));
    }
    if (!isFound)
        m_log.logMessage(kErrorLevel,
                         (Interruption::isRequested()
                              ? QStringLiteral("Interrupted while waiting, nothing was run: ")
                              : QStringLiteral("Waited %1 s, nothing was run: ").arg(*m_options.wait)) +
                             cause);
    if (isFound && m_options.isAll)
        VendorApi::warnOfFullList(list, m_log);
    return isFound;
}

/** What is not there yet, as a sentence; empty when everything is. */
QString RunSubcommand::missing(VrelApiManager& api, VendorApi::DeviceList& list) const
{
    QString error;
    auto listed = VendorApi::look(api, error);
    if (!listed)
        return error;
    list = std::move(*listed);
    if (m_options.devices.empty() || m_options.isAll) {
        if (list.empty())
            return QStringLiteral("The vendor API lists no device");
    }
    QStringList const absent = unlisted(m_options, list);
    return absent.isEmpty()
               ? QString()
               : QStringLiteral("The vendor API does not list %1").arg(absent.join(QStringLiteral(", ")));
}

bool RunSubcommand::readList(VrelApiManager& api, VendorApi::DeviceList& list) const
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

std::optional<std::vector<DeviceName>> RunSubcommand::devices(VendorApi::DeviceList const& list) const
{
    auto chosen = m_options.isNamed() ? selectDevices(m_options, list, m_log) : std::vector<DeviceName>(1);
    if (chosen && m_options.isMany && isInProcess() && !areListed(*chosen, list, m_log))
        return std::nullopt;
    return chosen;
}

/** What is known of devices before they are looked for, under paths that stand for theirs. */
std::vector<DeviceName> RunSubcommand::awaited() const
{
    std::vector<DeviceName> known(m_options.isNamed() ? 0 : 1);
    for (RunOptions::Device const& device : m_options.devices) {
        if (!device.isPath)
            known.push_back({device.text, QString::number(known.size())});
    }
    return known;
}

bool RunSubcommand::judge(std::vector<DeviceName> const& devices, RunSetting& setting,
                          VrelApiManager const& api, DeviceRuns& runs) const
{
    TargetFiles targets;
    return std::all_of(devices.begin(), devices.end(), [&](DeviceName const& device) {
        return runs.emplace_back(setting, device, api).prepare(&targets, m_log);
    });
}

QByteArray RunSubcommand::downloaderArguments(DeviceRuns& runs) const
{
    QByteArray lines;
    for (DeviceRun& run : runs)
        lines += run.downloaderArguments(m_log);
    return lines;
}

RunSubcommand::Result RunSubcommand::runOne(DeviceRun& run, LogHandler& log) const
{
    if (Interruption::isRequested())
        m_log.logMessage(kErrorLevel, "Interrupted: the request was not run");
    else
        run.run(log);
    return {run.result().kind == Outcome::Success ? ExitSuccess : ExitFailure, {}};
}

RunSubcommand::Result RunSubcommand::runMany(DeviceRuns& runs, std::vector<LogHandler*> const& logs) const
{
    int const total = static_cast<int>(runs.size());
    std::atomic<int> done{0};
    auto const showProgress = [&] {
        if (m_terminal != nullptr)
            m_terminal->showProgress(QStringLiteral("%1/%2").arg(done).arg(total));
    };
    showProgress();
    auto const work = [&](int index) {
        auto const i = static_cast<std::size_t>(index);
        runs[i].run(*logs[i]);
        ++done;
        showProgress();
    };
    int const jobs = m_options.exe ? 1 : std::min(m_options.jobs.value_or(total), total);
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

    std::vector<DeviceResult> results;
    for (DeviceRun const& run : runs)
        results.push_back(run.result());
    bool const succeeded = std::all_of(results.begin(), results.end(), [](DeviceResult const& result) {
        return result.kind == Outcome::Success;
    });
    return {succeeded ? ExitSuccess : ExitFailure,
            m_options.isJson ? RunReport::toJson(results) : RunReport::toTable(results, m_recipe.isArray)};
}
