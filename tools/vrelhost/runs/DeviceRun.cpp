#include "tools/vrelhost/runs/DeviceRun.h"

#include "external/LogHandler.h"
#include "framework/CompactJson.h"
#include "plugin/VrelManagerLib.h"
#include "plugin/VrelVersion.h"
#include "tools/common/ReportText.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/ledger/LedgerWriter.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/log/LogFile.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/RequestRules.h"
#include "tools/vrelhost/runs/DownloaderRun.h"
#include "tools/vrelhost/runs/ExternalProgram.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QSysInfo>

#include <algorithm>
#include <chrono>
#include <sys/resource.h>
#include <utility>

namespace {

QLatin1String const kWriteToken("writetoken");

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

bool RunSetting::prepare()
{
    bool const writesTokens = recipe.has(kWriteToken.data());
    if (options.isVerified && !writesTokens)
        toolLog.logMessage(kWarningLevel, "--verify has no effect without a writetoken request");
    if (options.isMany)
        allowMostOpenFiles();
    if (options.isVerified && writesTokens)
        tokenCheck.emplace();
    QString fault = tokenCheck ? tokenCheck->fault() : QString();
    if (fault.isEmpty() && options.logDirectory)
        fault = LogFile::directoryFault(*options.logDirectory);
    if (!fault.isEmpty())
        toolLog.logMessage(kErrorLevel, fault);
    if (options.ledger)
        ledger = std::make_unique<LedgerWriter>(*options.ledger);
    for (Step const& step : recipe.steps) {
        auto const* const row = step.as<Step::Row>();
        if (row != nullptr && row->isTaken)
            pools.try_emplace(row->table.get(), row->table);
    }
    log.emplace(console.terminal(), options.logDirectory);
    return fault.isEmpty();
}

DeviceRun::DeviceRun(RunSetting& setting, DeviceName device, VrelApiManager const& api)
    : m_setting(setting)
    , m_api(api)
    , m_values(device)
    , m_steps(setting.recipe.steps.size())
{
    m_result.device = std::move(device);
    m_result.job = setting.job();
    m_result.steps.resize(m_setting.recipe.isArray ? m_steps.size() : 0);
    for (std::size_t i = 0; i < m_result.steps.size(); ++i)
        m_result.steps[i].command = m_setting.recipe.steps[i].command;
}

bool DeviceRun::prepare(TargetFiles& targets, LogHandler& log)
{
    m_targets = &targets;
    int const bad = prepareSteps(log);
    m_isRejected = bad > 0;
    if (m_isRejected && m_setting.recipe.isArray)
        log.logMessage(kErrorLevel, m_setting.recipe.rejection(bad));
    return !m_isRejected;
}

/** Those whose placeholders are all given. @return the first one, from 1, that cannot be run; 0 without one
 */
int DeviceRun::prepareSteps(LogHandler& log)
{
    for (std::size_t i = 0; i < m_steps.size(); ++i) {
        QStringList const names = m_setting.recipe.steps[i].names();
        bool const canBeReady = std::none_of(
            names.begin(), names.end(), [this](QString const& name) { return m_awaited.contains(name); });
        if (canBeReady && !std::exchange(m_steps[i].isReady, true) && !prepareStep(i, log))
            return static_cast<int>(i) + 1;
    }
    return 0;
}

bool DeviceRun::prepareStep(std::size_t index, LogHandler& log)
try {
    Step const& step = m_setting.recipe.steps[index];
    if (auto const* const request = step.as<RequestTemplate>())
        return prepareRequest(*request, index, log);
    if (auto const* const row = step.as<Step::Row>())
        require(index, [&] { prepareRow(*row); });
    if (auto const* const exec = step.as<Step::Exec>()) {
        for (QString const& word : exec->words)
            m_steps[index].words << m_values.fill(word);
        require(index, [&] { m_files.requireProgram(m_steps[index].words.constFirst()); });
        m_files.addArguments(m_steps[index].words.mid(1));
    }
    return true;
} catch (Refusal const& refusal) {
    log.logMessage(kErrorLevel, refusal.cause());
    return false;
}

bool DeviceRun::prepareRequest(RequestTemplate const& request, std::size_t index, LogHandler& log)
{
    JsonObject const filled = request.fill(m_values);
    m_targets->take(filled, m_result.device);
    require(index, [&] { m_files.addRequest(filled); });
    QString const fault = m_setting.options.isVerified && m_setting.recipe.steps[index].command == kWriteToken
                              ? TokenCheck::fault(filled)
                              : QString();
    if (!fault.isEmpty())
        throw Refusal(fault);
    m_steps[index].request = std::make_unique<VrelFlashUtils>();
    return m_steps[index].request->parseArguments(filled, log);
}

/** One that is taken becomes known when it is; a dry run has the first instead. */
void DeviceRun::prepareRow(Step::Row const& row)
{
    auto const table = row.table->current();
    std::optional<std::size_t> const place = !row.isTaken            ? table->rowOf(m_result.device.serial)
                                             : table->rows().empty() ? std::nullopt
                                                                     : std::make_optional<std::size_t>(0);
    bool const isLater = row.isTaken && !m_setting.options.isDryRun;
    if (place && !isLater) {
        TableFile::fill(m_values, *table, *place);
        return;
    }
    m_awaited += row.table->placeholders();
    if (!isLater)
        throw Refusal(QStringLiteral("the table '%1' has no row%2")
                          .arg(row.table->name(),
                               row.isTaken ? QString()
                                           : QStringLiteral(" for the serial number '%1'")
                                                 .arg(ReportText::printable(m_result.device.serial))));
}

/** Keeps what the device lacks first. */
void DeviceRun::require(std::size_t index, std::function<void()> const& judge)
{
    try {
        judge();
    } catch (Refusal const& refusal) {
        if (m_lack.isEmpty())
            m_lack = m_setting.recipe.isArray ? m_setting.recipe.stepName(static_cast<int>(index) + 1) +
                                                    QStringLiteral(": ") + refusal.cause()
                                              : refusal.cause();
    }
}

/** Logs what it lacks; of a single request the vendor API is to judge. @return whether it is not to be run */
bool DeviceRun::isLacking(LogHandler const& log) const
{
    bool const isError = m_setting.recipe.isArray;
    if (!m_lack.isEmpty())
        log.logMessage(isError ? kErrorLevel : kWarningLevel, m_lack);
    return isError && !m_lack.isEmpty();
}

std::optional<QByteArray> DeviceRun::downloaderArguments(LogHandler& log)
{
    if (isLacking(log))
        return std::nullopt;
    QByteArray lines;
    for (Prepared const& step : m_steps) {
        if (!step.request)
            continue;
        QStringList const arguments = DownloaderRun(*step.request, m_result.device.serial, log).arguments();
        lines += toCompactText(QJsonDocument(QJsonArray::fromStringList(arguments))) + '\n';
    }
    return lines;
}

bool DeviceRun::isDone()
{
    if (m_setting.options.isAgain)
        return false;
    m_result.service = m_setting.ledger->doneBy(m_result.device.serial, m_result.job);
    m_result.kind = m_result.service.isNull() ? Outcome::NotRun : Outcome::Done;
    return m_result.kind == Outcome::Done;
}

void DeviceRun::run(LogHandler& log)
{
    Interruption::Work const work;
    QElapsedTimer timer;
    timer.start();
    if (!begin(log))
        return;
    if (m_isRejected || isLacking(log))
        fail(log);
    else
        runSteps(log);
    m_result.duration = timer.elapsed();
    QString const word = RunReport::word(m_result);
    noteGap(m_setting.ledger->end(m_result.service, word, m_result.duration, m_result.error));
    m_setting.log->end(log, word, RunReport::toLastMembers(m_result));
}

/** @return false, with the cause as the result's error, when the ledger cannot have it */
bool DeviceRun::begin(LogHandler const& log)
try {
    RunOptions const& options = m_setting.options;
    Recipe const& recipe = m_setting.recipe;
    auto const inputs = describe(m_files.needed());
    m_result.service = m_setting.ledger->begin(
        {m_result.device.serial, m_result.device.path, m_result.job,
         options.station.value_or(QSysInfo::machineHostName()),
         options.exe ? QStringLiteral("downloader") : QStringLiteral("in-process"), m_setting.log->file(log),
         recipe.isArray, recipe.commands(), inputs, QStringLiteral(VREL_VERSION_STR),
         QString::fromUtf8(VrelManagerLib::getVersion())});
    m_setting.log->begin(
        log, QStringLiteral("Job '%1': %2").arg(m_result.job, recipe.commands().join(QStringLiteral(", "))),
        RunReport::toFirstMembers(m_result, recipe.commands(), inputs));
    return true;
} catch (LedgerError const& error) {
    m_result.error = error.text();
    return false;
}

/** Of files that are not recorded yet, if any are. */
std::vector<LedgerInput> DeviceRun::describe(QStringList const& files)
{
    std::vector<LedgerInput> inputs;
    bool const isRecorded = m_setting.options.ledger || m_setting.options.logDirectory;
    for (QString const& name : files) {
        if (!isRecorded || m_recorded.contains(name))
            continue;
        m_recorded << name;
        if (auto input = m_setting.inputs.describe(name))
            inputs.push_back(*std::move(input));
    }
    return inputs;
}

void DeviceRun::runSteps(LogHandler& log)
{
    int const count = static_cast<int>(m_steps.size());
    m_result.kind = Outcome::Success;
    for (int i = 0; i < count && m_result.kind == Outcome::Success; ++i) {
        auto const index = static_cast<std::size_t>(i);
        if (m_setting.recipe.isArray)
            m_setting.log->beginStep(log, i + 1, count, m_setting.recipe.steps[index].command);
        if (i > 0 && Interruption::isRequested(Interruption::Steps)) {
            log.logMessage(kErrorLevel, "Interrupted: this step and those after it were not run");
            m_result.kind = Outcome::Failure;
        } else {
            QElapsedTimer timer;
            timer.start();
            m_result.kind = carryOut(index, log) ? Outcome::Success : Outcome::Failure;
            endStep(index, {m_result.kind, timer.elapsed(), m_setting.log->lastError(log)});
        }
        m_result.error = m_setting.log->lastError(log);
    }
}

void DeviceRun::endStep(std::size_t index, Outcome const& outcome)
{
    if (m_setting.recipe.isArray)
        static_cast<Outcome&>(m_result.steps[index]) = outcome;
    noteGap(m_setting.ledger->endStep(m_result.service,
                                      {static_cast<int>(index) + 1, m_setting.recipe.steps[index].command,
                                       RunReport::word(outcome), outcome.duration, outcome.error}));
}

void DeviceRun::fail(LogHandler const& log)
{
    m_result.kind = Outcome::Failure;
    m_result.error = m_setting.log->lastError(log);
}

/** Of what is not in the ledger; empty when nothing is missing. It is no error of the device. */
void DeviceRun::noteGap(QString const& gap)
{
    if (gap.isEmpty())
        return;
    m_setting.hasLedgerGap = true;
    m_setting.toolLog.logMessage(
        kErrorLevel,
        QStringLiteral("The device '%1': %2").arg(ReportText::printable(m_result.device.serial), gap));
}

bool DeviceRun::carryOut(std::size_t index, LogHandler& log)
{
    Step const& step = m_setting.recipe.steps[index];
    if (auto const* const waiting = step.as<Step::Wait>())
        return wait(*waiting, log);
    if (auto const* const exec = step.as<Step::Exec>())
        return ExternalProgram::run(m_steps[index].words, exec->seconds, environment(), log);
    if (auto const* const row = step.as<Step::Row>())
        return !row->isTaken || takeRow(*row->table, log);
    VrelFlashUtils& request = *m_steps[index].request;
    QStringList files; // which an earlier step may have made, or a row named
    for (auto const& [key, name] : RequestRules::readFiles(request.getParameters()))
        files << name;
    noteGap(m_setting.ledger->addInputs(m_result.service, describe(files)));
    return runAndVerify(request, log);
}

/** And judges what is done with it, as before the first step. */
bool DeviceRun::takeRow(TableFile const& table, LogHandler& log)
{
    try {
        m_setting.pools.at(&table).take(*m_setting.ledger, m_result.service, m_values, log);
    } catch (Refusal const& refusal) {
        log.logMessage(kErrorLevel, refusal.cause());
        return false;
    } catch (LedgerError const& error) {
        log.logMessage(kErrorLevel, error.text());
        return false;
    }
    auto const isGiven = [this](QString const& name) { return m_values.has(name); };
    m_awaited.erase(std::remove_if(m_awaited.begin(), m_awaited.end(), isGiven), m_awaited.end());
    int const bad = prepareSteps(log);
    if (bad > 0)
        log.logMessage(kErrorLevel,
                       m_setting.recipe.stepName(bad) + QStringLiteral(" cannot be run with this row"));
    return bad == 0 && !isLacking(log);
}

bool DeviceRun::runAndVerify(VrelFlashUtils& request, LogHandler& log) const
{
    if (!runRequest(request, log))
        return false;
    if (!m_setting.tokenCheck || request.getCommandId() != kWriteToken)
        return true;
    auto const readBack = [&](JsonObject const& reading) {
        VrelFlashUtils command;
        return command.parseArguments(reading, log) && runRequest(command, log);
    };
    return m_setting.tokenCheck->isRight(request.getParameters(), readBack, log);
}

QProcessEnvironment DeviceRun::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VREL_SERIAL"), m_result.device.serial);
    environment.insert(QStringLiteral("VREL_PATH"), m_result.device.path);
    environment.insert(QStringLiteral("VREL_JOB"), m_result.job);
    environment.insert(QStringLiteral("VREL_SERVICE"), m_result.service);
    return environment;
}

bool DeviceRun::runRequest(VrelFlashUtils& request, LogHandler& log) const
{
    QString const& serial = m_result.device.serial;
    if (!m_setting.options.exe)
        return request.run(m_api, serial, log);
    QString const& exe = *m_setting.options.exe;
    bool const succeeded = DownloaderRun(request, serial, log).run(exe, *m_setting.options.timeout);
    if (!succeeded && m_setting.log->lastError(log).isNull()) // otherwise the downloader has said more
        log.logMessage(kErrorLevel,
                       QStringLiteral("The downloader '%1' failed; see its lines above").arg(exe));
    return succeeded;
}

bool DeviceRun::wait(Step::Wait const& wait, LogHandler const& log) const
{
    QString cause;
    bool wasAway = !wait.isForRestart;
    auto const isBack = [&] {
        cause.clear();
        VrelApiManager api = m_setting.manager->fetchApi(); // out of process only for this moment
        auto const list = VendorApi::list(api, cause);
        bool const isListed = list && std::any_of(list->begin(), list->end(), [&](auto const& device) {
                                  return device.second == m_result.device.serial;
                              });
        wasAway = wasAway || (list && !isListed);
        return isListed && wasAway;
    };
    if (Interruption::retry(isBack, std::chrono::seconds(wait.seconds)))
        return true;
    if (!cause.isEmpty())
        cause.prepend(QStringLiteral(": "));
    if (Interruption::isRequested(Interruption::Steps))
        log.logMessage(kErrorLevel, "Interrupted while waiting for the device");
    else if (!wait.isForRestart)
        log.logMessage(kErrorLevel, QStringLiteral("The vendor API did not list the device within %1 s%2")
                                        .arg(wait.seconds)
                                        .arg(cause));
    else
        log.logMessage(
            kErrorLevel,
            QStringLiteral("The device did not restart within %1 s: %2%3")
                .arg(wait.seconds)
                .arg(QLatin1String(wasAway ? "it was away, and the vendor API did not list it again"
                                           : "the vendor API listed it all the time"),
                     cause));
    return false;
}
