#include "external/LogHandler.h"
#include "tools/common/ReportText.h"
#include "tools/common/ToolProcess.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/commandline/OptionTable.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/request/RequestRules.h"
#include "tools/vrelhost/runs/DeviceRun.h"
#include "tools/vrelhost/runs/DeviceSelection.h"
#include "tools/vrelhost/runs/ProcessGroup.h"
#include "tools/vrelhost/runs/RowQueue.h"
#include "tools/vrelhost/subcommands/DeviceSubcommand.h"
#include "tools/vrelhost/subcommands/Subcommands.h"

#include <QDateTime>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <list>
#include <map>
#include <set>
#include <thread>
#include <utility>

namespace {

constexpr int kNoLimit = std::numeric_limits<int>::max();
constexpr int kLongestInterval = 60000; ///< milliseconds

constexpr DeviceSubcommand::Option kStationOptions[] = {
    {"interval", "MS", DeviceSubcommand::Number{&RunOptions::interval, "milliseconds", 1, kLongestInterval},
     "Milliseconds between two looks for devices; default 500."},
    {"stop-after", "N", DeviceSubcommand::Number{&RunOptions::stopAfter, "devices"},
     "Stop after N devices have succeeded."},
};

/** One appearance of a device. */
struct Service
{
    DeviceRun run;
    LogHandler& log;
    std::future<void> end;
};

/** "deferred" is one that is this thread's to do. */
std::future_status statusOf(Service const& service)
{
    return service.end.wait_for(std::chrono::seconds(0));
}

bool isOver(Service const& service)
{
    return statusOf(service) != std::future_status::timeout;
}

class Station
{
public:
    explicit Station(RunSetting& setting)
        : m_setting(setting)
    {
    }

    /** @return the exit code */
    int run();

private:
    enum class State
    {
        Served,   ///< now
        Unlisted, ///< likewise, and gone since: it has appeared again when it is listed
        Finished, ///< to be served when it appears again
        Done,     ///< with success, and not to be served again
        Gone,     ///< likewise, and gone since
    };

    struct Known
    {
        State state;
        QString path;
    };

    void serveUntilEnd();
    bool isEnough() const;
    bool look(VrelApiManager& api, VendorApi::DeviceList& list);
    bool isRecording();
    bool consult(std::function<void(Ledger& ledger)> const& ask);
    void reportLedger(QString const& fault);
    void forgetAbsent(VendorApi::DeviceList const& list);
    void serveDue(VendorApi::DeviceList const& list, VrelApiManager const& api);
    bool isDue(VendorApi::DeviceList::value_type const& device, VendorApi::DeviceList const& list);
    bool isDone(DeviceName const& device);
    void serve(DeviceName const& device, VrelApiManager const& api);
    void waitForEnd();
    bool hasEnded() const;
    void collect();
    void tell(DeviceResult const& result);
    void showProgress() const;

    RunSetting& m_setting;
    RunOptions const& m_options = m_setting.options;
    Recipe const& m_recipe = m_setting.recipe;

    std::map<QString, Known> m_states; ///< by serial number, of devices that were begun
    std::set<QString> m_refused;       ///< paths of listed devices that cannot be named
    TargetFiles m_targets;
    RowQueue m_rows{m_setting.console};
    bool m_isListFailing = false;
    bool m_isListFull = false;
    bool m_isLedgerFailing = false;
    bool m_isBeginFailing = false; ///< of services; the rest of the ledger may work meanwhile
    bool m_isLedgerRefused = false;
    int m_succeeded = 0;
    int m_failed = 0;
    std::list<Service> m_services; ///< under way
};

int Station::run()
{
    int const shared = m_recipe.sharedFileStep();
    if (shared != 0) {
        m_setting.toolLog.logMessage(
            kErrorLevel, "Several devices would write to the same file: put {serial} into its name");
        if (m_recipe.isArray)
            m_setting.toolLog.logMessage(kErrorLevel, m_recipe.rejection(shared));
        return ExitRejected;
    }
    if (!m_setting.prepare())
        return ExitFailure;
    m_setting.manager.emplace();
    if (!isRecording() && m_isLedgerRefused)
        return ExitFailure;
    if (!m_options.isJson)
        m_rows.add(RunReport::toTableHead(m_recipe.isArray), QStringLiteral("the table's head"));
    serveUntilEnd();
    m_rows.finish();
    m_setting.toolLog.logMessage(
        kProgressLevel, QStringLiteral("Station: %1 succeeded, %2 failed").arg(m_succeeded).arg(m_failed));
    return m_failed > 0 || m_setting.hasLedgerGap || m_isLedgerRefused ? ExitFailure : ExitSuccess;
}

void Station::serveUntilEnd()
{
    VrelApiManager api;
    showProgress();
    while (!Interruption::isRequested() && !isEnough() && !m_isLedgerRefused) {
        VendorApi::DeviceList list;
        if (look(api, list)) {
            forgetAbsent(list);
            if (isRecording())
                serveDue(list, api);
        }
        waitForEnd();
        collect();
        if (m_services.empty())
            ProcessGroup::reapLeft();
    }
    while (!m_services.empty()) {
        waitForEnd();
        collect();
    }
}

bool Station::isEnough() const
{
    return m_options.stopAfter && m_succeeded >= *m_options.stopAfter;
}

/** In-process the handle is kept; a failure is told once. */
bool Station::look(VrelApiManager& api, VendorApi::DeviceList& list)
{
    QString error;
    if (!api)
        api = m_setting.manager->fetchApi();
    auto listed = VendorApi::list(api, error);
    if (m_options.exe || (!listed && m_services.empty()))
        api = VrelApiManager(); // the downloaders take it, or another hold may do better
    if (!listed && !m_isListFailing)
        m_setting.toolLog.logMessage(kErrorLevel, error);
    m_isListFailing = !listed;
    if (listed)
        list = std::move(*listed);
    bool const isFull = VendorApi::isFull(list);
    if (isFull && !m_isListFull)
        m_setting.toolLog.logMessage(
            kWarningLevel,
            "The device list is full (24); further devices are served once some of these are unplugged");
    m_isListFull = isFull;
    return !m_isListFailing;
}

/** Whether the ledger can be used. */
bool Station::isRecording()
{
    bool const isReady = consult([](Ledger& ledger) { ledger.makeReady(); });
    m_isLedgerFailing = !isReady || (m_isLedgerFailing && m_isBeginFailing);
    return isReady;
}

/** @return false when it fails, which is told once */
bool Station::consult(std::function<void(Ledger& ledger)> const& ask)
try {
    ask(*m_setting.ledger);
    return true;
} catch (LedgerError const& error) {
    m_isLedgerRefused = error.kind() == LedgerError::Refused;
    reportLedger(error.text());
    return false;
}

void Station::reportLedger(QString const& fault)
{
    if (!std::exchange(m_isLedgerFailing, true))
        m_setting.toolLog.logMessage(kErrorLevel, fault + QStringLiteral("; no device is served"));
}

/** A device that is not listed any more will be a new one when it is. */
void Station::forgetAbsent(VendorApi::DeviceList const& list)
{
    std::set<QString> serials;
    for (auto const& [path, serial] : list)
        serials.insert(serial);
    for (auto entry = m_states.begin(); entry != m_states.end();) {
        bool const isAbsent = serials.count(entry->first) == 0;
        State& state = entry->second.state;
        // A recipe that waits may have sent the device away itself.
        if (isAbsent && state == State::Served && !m_recipe.has("wait"))
            state = State::Unlisted;
        else if (isAbsent && state == State::Done)
            state = State::Gone;
        entry = isAbsent && state == State::Finished ? m_states.erase(entry) : std::next(entry);
    }
    for (auto path = m_refused.begin(); path != m_refused.end();)
        path = list.count(*path) == 0 ? m_refused.erase(path) : std::next(path);
}

void Station::serveDue(VendorApi::DeviceList const& list, VrelApiManager const& api)
{
    auto const jobs = static_cast<std::size_t>(m_options.exe ? 1 : m_options.jobs.value_or(kNoLimit));
    for (auto const& device : list) {
        if (m_services.size() >= jobs || Interruption::isRequested())
            return;
        if (isDue(device, list) && !isDone({device.second, device.first}))
            serve({device.second, device.first}, api);
    }
}

/** Whether the ledger has it as done, or cannot tell. */
bool Station::isDone(DeviceName const& device)
{
    QString service;
    bool const isKnown = m_options.isAgain || consult([&](Ledger& ledger) {
                             service = ledger.doneBy(device.serial, m_setting.job());
                         });
    if (isKnown && service.isNull())
        return false;
    if (isKnown) {
        m_states[device.serial] = {State::Finished, device.path};
        m_setting.toolLog.logMessage(
            kProgressLevel,
            QStringLiteral("The device '%1' at %2 is done in the job '%3', by the "
                           "service %4: not served")
                .arg(ReportText::printable(device.serial), device.path, m_setting.job(), service));
    }
    return true;
}

bool Station::isDue(VendorApi::DeviceList::value_type const& device, VendorApi::DeviceList const& list)
{
    QString const fault = namingFault(device, list);
    if (fault.isEmpty()) {
        auto const known = m_states.find(device.second);
        if (known == m_states.end())
            return true;
        bool const isNew = known->second.state == State::Gone || known->second.path != device.first;
        if (known->second.state >= State::Done && isNew) {
            known->second = {State::Done, device.first};
            m_setting.toolLog.logMessage(kWarningLevel,
                                         QStringLiteral("The device '%1' at %2 is not served: one with this "
                                                        "serial number was served with success; "
                                                        "--again serves it")
                                             .arg(ReportText::printable(device.second), device.first));
        }
        return false;
    }
    if (m_refused.insert(device.first).second)
        m_setting.toolLog.logMessage(kErrorLevel, fault + QStringLiteral(": not served"));
    return false;
}

void Station::serve(DeviceName const& device, VrelApiManager const& api)
{
    QString error;
    LogHandler& log = m_setting.log->add(device, true, error);
    if (!error.isEmpty())
        log.logMessage(kWarningLevel, error);
    m_states[device.serial] = {State::Served, device.path};
    m_services.push_back({DeviceRun(m_setting, device, m_options.exe ? VrelApiManager() : api), log, {}});
    Service& service = m_services.back();
    service.run.prepare(m_targets, log);
    // What is deferred, also for lack of threads, is this thread's to do, in collect.
    std::launch const onThisThread = std::launch::deferred;
    std::launch const policy = m_options.exe ? onThisThread : std::launch::async | onThisThread;
    service.end = std::async(policy, [&service] { service.run.run(service.log); });
}

bool Station::hasEnded() const
{
    return std::any_of(m_services.begin(), m_services.end(), isOver);
}

/** Returns when a service has ended, the time is over, or an end is asked for and services are under way no
 * more. */
void Station::waitForEnd()
{
    constexpr std::chrono::milliseconds kPause(20); // no signal and no service wakes it
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(*m_options.interval);
    while (!hasEnded() && std::chrono::steady_clock::now() < deadline &&
           !(Interruption::isRequested() && m_services.empty())) {
        m_rows.flush();
        std::this_thread::sleep_until(std::min(std::chrono::steady_clock::now() + kPause, deadline));
    }
}

void Station::collect()
{
    for (auto service = m_services.begin(); service != m_services.end();) {
        if (!isOver(*service)) {
            ++service;
            continue;
        }
        if (statusOf(*service) == std::future_status::ready || !(Interruption::isRequested() || isEnough())) {
            service->end.get();
            tell(service->run.result());
        } else {
            m_states.erase(service->run.result().device.serial);
        }
        m_setting.log->remove(service->log);
        service = m_services.erase(service);
    }
}

void Station::tell(DeviceResult const& result)
{
    if (result.kind == Outcome::NotRun) { // the ledger could not have it
        m_states.erase(result.device.serial);
        m_isBeginFailing = true;
        reportLedger(result.error);
        return;
    }
    m_isBeginFailing = false;
    bool const succeeded = result.kind == Outcome::Success;
    ++(succeeded ? m_succeeded : m_failed);
    auto const state = m_states.find(result.device.serial);
    if (succeeded && !m_options.isAgain && !m_options.ledger) // which knows better
        state->second.state = State::Done;
    else if (state->second.state == State::Served)
        state->second.state = State::Finished;
    else
        m_states.erase(state);
    QString const time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    m_rows.add(m_options.isJson ? RunReport::toJsonLine(result, time) : RunReport::toTableRow(result),
               QStringLiteral("the result of '%1' (%2)")
                   .arg(ReportText::printable(result.device.serial), RunReport::word(result)));
    showProgress();
}

void Station::showProgress() const
{
    m_setting.console.showProgress(QStringLiteral("%1 succeeded, %2 failed").arg(m_succeeded).arg(m_failed));
}

int serveDevices(RunSetting& setting)
{
    return Station(setting).run();
}

QList<QCommandLineOption> stationOptions()
{
    return DeviceSubcommand::options() + definitions(kStationOptions);
}

int carryOutStation(Invocation const& call)
{
    RunOptions given;
    given.isAll = true;
    readOptions(call.options, kStationOptions, given);
    return DeviceSubcommand::carryOut(call, given, Interruption::Boards, serveDevices);
}

} // namespace

Subcommands::Rows Subcommands::station()
{
    return {
        {"station", DeviceSubcommand::kRequestOrRecipe, stationOptions, carryOutStation,
         "Runs a request or a recipe on each device that is plugged in or appears, until it is interrupted.",
         "no device failed", "a device failed, or the station could not start",
         R"(vrelhost station '{"command": "startover", "flags": 1}' --ledger ledger.db --stop-after 2)"}};
}
