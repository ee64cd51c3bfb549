#include "tools/vrelhost/work/DeviceRun.h"

#include "external/LogHandler.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/log/LogFile.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/RequestRules.h"
#include "tools/vrelhost/work/DownloaderRun.h"
#include "tools/vrelhost/work/ExternalProgram.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <chrono>
#include <sys/resource.h>

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
    m_result.steps.resize(m_setting.recipe.isArray ? m_steps.size() : 0);
    for (std::size_t i = 0; i < m_result.steps.size(); ++i)
        m_result.steps[i].command = m_setting.recipe.steps[i].command;
}

bool DeviceRun::prepare(TargetFiles* targets, LogHandler& log)
{
    Recipe const& recipe = m_setting.recipe;
    for (std::size_t i = 0; i < m_steps.size(); ++i) {
        if (prepareStep(i, targets, log))
            continue;
        if (recipe.isArray)
            log.logMessage(kErrorLevel, recipe.rejection(static_cast<int>(i) + 1));
        return false;
    }
    return true;
}

bool DeviceRun::prepareStep(std::size_t index, TargetFiles* targets, LogHandler& log)
try {
    Step const& step = m_setting.recipe.steps[index];
    if (auto const* const request = step.as<RequestTemplate>())
        return prepareRequest(*request, index, targets, log);
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

bool DeviceRun::prepareRequest(RequestTemplate const& request, std::size_t index, TargetFiles* targets,
                               LogHandler& log)
{
    JsonObject const filled = request.fill(m_values);
    if (targets != nullptr)
        targets->take(filled, m_result.device);
    require(index, [&] { m_files.addRequest(filled); });
    QString const fault = m_setting.options.isVerified && m_setting.recipe.steps[index].command == kWriteToken
                              ? TokenCheck::fault(filled)
                              : QString();
    if (!fault.isEmpty())
        throw Refusal(fault);
    m_steps[index].request = std::make_unique<VrelFlashUtils>();
    return m_steps[index].request->parseArguments(filled, log);
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
        lines += QJsonDocument(QJsonArray::fromStringList(arguments)).toJson(QJsonDocument::Compact) + '\n';
    }
    return lines;
}

void DeviceRun::run(LogHandler& log)
{
    Interruption::Work const work;
    m_setting.log->begin(log);
    QElapsedTimer timer;
    timer.start();
    if (isLacking(log))
        reject(log);
    else
        runSteps(log);
    m_result.duration = timer.elapsed();
    m_setting.log->end(log);
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
            log.logMessage(kErrorLevel, "Interrupted: this step, and any after it, was not run");
            m_result.kind = Outcome::Failure;
        } else {
            QElapsedTimer stepTimer;
            stepTimer.start();
            m_result.kind = carryOut(index, log) ? Outcome::Success : Outcome::Failure;
            if (m_setting.recipe.isArray)
                static_cast<Outcome&>(m_result.steps[index]) = {m_result.kind, stepTimer.elapsed(),
                                                                m_setting.log->lastError(log)};
        }
        m_result.error = m_setting.log->lastError(log);
    }
}

void DeviceRun::reject(LogHandler const& log)
{
    m_result.kind = Outcome::Failure;
    m_result.error = m_setting.log->lastError(log);
}

bool DeviceRun::carryOut(std::size_t index, LogHandler& log) const
{
    Step const& step = m_setting.recipe.steps[index];
    if (auto const* const waiting = step.as<Step::Wait>())
        return wait(*waiting, log);
    if (auto const* const exec = step.as<Step::Exec>())
        return ExternalProgram::run(m_steps[index].words, exec->seconds, environment(), log);
    return runAndVerify(*m_steps[index].request, log);
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
