#include "tools/vrelhost/StationSubcommand.h"

#include "external/LogHandler.h"
#include "tools/common/ExitCode.h"
#include "tools/vrelhost/DeviceSelection.h"
#include "tools/vrelhost/ReportText.h"
#include "tools/vrelhost/RequestRules.h"
#include "tools/vrelhost/TerminalLog.h"

#include <QDateTime>

#include <algorithm>
#include <chrono>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>

namespace {

constexpr int kNoLimit = std::numeric_limits<int>::max();

} // namespace

struct StationSubcommand::Service
{
    DeviceRun run;
    LogHandler& log;
    bool isOver = false;
    std::thread thread; ///< none where the station's own thread does the work

    Service(RunSetting& setting, DeviceName const& device, VrelApiManager const& api, LogHandler& deviceLog)
        : run(setting, device, api)
        , log(deviceLog)
    {
    }

    Service(Service const&) = delete;
    Service& operator=(Service const&) = delete;

    ~Service()
    {
        if (thread.joinable())
            thread.join();
    }
};

StationSubcommand::StationSubcommand(RunOptions options, Recipe recipe, LogHandler& log,
                                     TerminalLog* terminal, Output output)
    : m_options(std::move(options))
    , m_recipe(std::move(recipe))
    , m_log(log)
    , m_terminal(terminal)
    , m_output(std::move(output))
    , m_setting(m_options, m_recipe)
{
}

StationSubcommand::~StationSubcommand() = default;

int StationSubcommand::run()
{
    int const shared = m_recipe.sharedFileStep();
    if (shared != 0) {
        m_log.logMessage(kErrorLevel,
                         "All devices would write to the same file: put {serial} or {path} into its name");
        if (m_recipe.isArray)
            m_log.logMessage(kErrorLevel, m_recipe.rejection(shared));
        return ExitRejected;
    }
    if (!m_setting.prepare(m_log, m_terminal))
        return ExitFailure;
    m_setting.manager.emplace();
    if (!m_options.isJson)
        m_output(RunReport::toTableHead(m_recipe.isArray), QStringLiteral("the table's head"));
    serveUntilEnd();
    m_log.logMessage(kProgressLevel,
                     QStringLiteral("Station: %1 succeeded, %2 failed").arg(m_succeeded).arg(m_failed));
    return m_failed == 0 ? ExitSuccess : ExitFailure;
}

void StationSubcommand::serveUntilEnd()
{
    VrelApiManager api;
    showProgress();
    while (!Interruption::isRequested() && !isEnough()) {
        VendorApi::DeviceList list;
        if (look(api, list)) {
            forgetAbsent(list);
            serveDue(list, api);
        }
        waitForEnd(std::chrono::milliseconds(*m_options.interval));
        collect();
    }
    while (!m_services.empty()) {
        waitForEnd(std::chrono::milliseconds(*m_options.interval));
        collect();
    }
}

bool StationSubcommand::isEnough() const
{
    return m_options.stopAfter && m_succeeded >= *m_options.stopAfter;
}

/** In-process the handle is kept; a failure is told once. */
bool StationSubcommand::look(VrelApiManager& api, VendorApi::DeviceList& list)
{
    QString error;
    if (!api)
        api = m_setting.manager->fetchApi();
    auto listed = VendorApi::look(api, error);
    if (m_options.exe)
        api = VrelApiManager(); // the downloaders take it
    if (!listed && !m_isListFailing)
        m_log.logMessage(kErrorLevel, error);
    m_isListFailing = !listed;
    if (listed)
        list = std::move(*listed);
    bool const isFull = VendorApi::isFull(list);
    if (isFull && !m_isListFull)
        m_log.logMessage(
            kWarningLevel,
            "The vendor API lists as many devices as it can: more are served when these are unplugged");
    m_isListFull = isFull;
    return !m_isListFailing;
}

/** A device that is not listed any more will be a new one when it is. */
void StationSubcommand::forgetAbsent(VendorApi::DeviceList const& list)
{
    std::set<QString> serials;
    for (auto const& [path, serial] : list)
        serials.insert(serial);
    for (auto entry = m_states.begin(); entry != m_states.end();) {
        bool const isAbsent = serials.count(entry->first) == 0;
        // A recipe that waits may have sent the device away itself.
        if (isAbsent && entry->second == State::Served && !m_recipe.has("wait"))
            entry->second = State::Unlisted;
        entry = isAbsent && entry->second == State::Finished ? m_states.erase(entry) : std::next(entry);
    }
    for (auto path = m_refused.begin(); path != m_refused.end();)
        path = list.count(*path) == 0 ? m_refused.erase(path) : std::next(path);
}

void StationSubcommand::serveDue(VendorApi::DeviceList const& list, VrelApiManager const& api)
{
    auto const jobs = static_cast<std::size_t>(m_options.exe ? 1 : m_options.jobs.value_or(kNoLimit));
    for (auto const& device : list) {
        if (m_services.size() >= jobs || Interruption::isRequested())
            return;
        if (isDue(device, list))
            serve({device.second, device.first}, api);
    }
}

bool StationSubcommand::isDue(VendorApi::DeviceList::value_type const& device,
                              VendorApi::DeviceList const& list)
{
    QString const fault = namingFault(device, list);
    if (fault.isEmpty())
        return m_states.count(device.second) == 0;
    if (m_refused.insert(device.first).second)
        m_log.logMessage(kErrorLevel, fault + QStringLiteral(": not served"));
    return false;
}

void StationSubcommand::serve(DeviceName const& device, VrelApiManager const& api)
{
    QString error;
    LogHandler& log = m_setting.log->add(device, true, error);
    if (!error.isEmpty())
        log.logMessage(kWarningLevel, error);
    m_states[device.serial] = State::Served;
    Service& service =
        m_services.emplace_back(m_setting, device, m_options.exe ? VrelApiManager() : api, log);
    if (!service.run.prepare(nullptr, log)) {
        service.run.reject(log);
        service.isOver = true;
        return;
    }
    auto const work = [this, &service] {
        service.run.run(service.log);
        std::lock_guard const lock(m_mutex);
        service.isOver = true;
        m_ended.notify_one();
    };
    try {
        if (!m_options.exe) {
            service.thread = std::thread(work);
            return;
        }
    } catch (std::system_error const&) {
        // Without another thread this one does the work.
    }
    work();
}

bool StationSubcommand::hasEnded() const
{
    return std::any_of(m_services.begin(), m_services.end(),
                       [](Service const& service) { return service.isOver; });
}

/** Returns when a service has ended, the time is over, or an end is asked for and services are under way no
 * more. */
void StationSubcommand::waitForEnd(std::chrono::milliseconds time)
{
    constexpr std::chrono::milliseconds kPause(50); // a signal wakes nobody
    auto const deadline = std::chrono::steady_clock::now() + time;
    std::unique_lock lock(m_mutex);
    while (!hasEnded() && std::chrono::steady_clock::now() < deadline &&
           !(Interruption::isRequested() && m_services.empty()))
        m_ended.wait_until(lock, std::min(std::chrono::steady_clock::now() + kPause, deadline));
}

void StationSubcommand::collect()
{
    for (auto service = m_services.begin(); service != m_services.end();) {
        std::unique_lock lock(m_mutex);
        bool const isOver = service->isOver;
        lock.unlock();
        if (isOver) {
            tell(service->run.result());
            m_setting.log->remove(service->log);
        }
        service = isOver ? m_services.erase(service) : std::next(service);
    }
}

void StationSubcommand::tell(DeviceResult const& result)
{
    bool const succeeded = result.kind == Outcome::Success;
    ++(succeeded ? m_succeeded : m_failed);
    auto const state = m_states.find(result.device.serial);
    if (succeeded && !m_options.isAgain)
        state->second = State::Served;
    else if (state->second == State::Served)
        state->second = State::Finished;
    else
        m_states.erase(state);
    QString const time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    m_output(m_options.isJson ? RunReport::toJsonLine(result, time) : RunReport::toTableRow(result),
             QStringLiteral("the result of '%1' (%2)")
                 .arg(ReportText::printable(result.device.serial), RunReport::word(result)));
    showProgress();
}

void StationSubcommand::showProgress()
{
    if (m_terminal != nullptr)
        m_terminal->showProgress(QStringLiteral("%1 succeeded, %2 failed").arg(m_succeeded).arg(m_failed));
}
