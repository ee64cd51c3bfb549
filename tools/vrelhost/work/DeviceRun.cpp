#include "tools/vrelhost/work/DeviceRun.h"

#include "external/LogHandler.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/log/LogFile.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/RequestRules.h"
#include "tools/vrelhost/work/DownloaderRun.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <chrono>
#include <sys/resource.h>

namespace {

char const* const kWriteToken = "writetoken";

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
    bool const writesTokens = recipe.has(kWriteToken);
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
{
    m_result.device = std::move(device);
    m_result.steps.resize(m_setting.recipe.isArray ? m_setting.recipe.steps.size() : 0);
    for (std::size_t i = 0; i < m_result.steps.size(); ++i)
        m_result.steps[i].command = m_setting.recipe.steps[i].command;
}

bool DeviceRun::prepare(TargetFiles* targets, LogHandler& log)
{
    Recipe const& recipe = m_setting.recipe;
    auto const parseStep = [&](Recipe::Step const& step) {
        try {
            return parse(step, targets, log);
        } catch (Refusal const& refusal) {
            log.logMessage(kErrorLevel, refusal.cause());
            return false;
        }
    };
    bool const isGood = std::all_of(recipe.steps.begin(), recipe.steps.end(), parseStep);
    if (!isGood && recipe.isArray)
        log.logMessage(kErrorLevel, recipe.rejection(static_cast<int>(m_steps.size())));
    return isGood;
}

bool DeviceRun::parse(Recipe::Step const& step, TargetFiles* targets, LogHandler& log)
{
    Step& parsed = m_steps.emplace_back(Step{nullptr, step.wait});
    if (!step.request) // a wait
        return true;
    JsonObject const request = step.request->forDevice(m_result.device);
    if (targets != nullptr)
        targets->take(request, m_result.device);
    if (m_setting.options.isVerified && step.command == QLatin1String(kWriteToken)) {
        QString const fault = TokenCheck::fault(request);
        if (!fault.isEmpty())
            throw Refusal(fault);
    }
    parsed.request = std::make_unique<VrelFlashUtils>();
    return parsed.request->parseArguments(request, log);
}

QByteArray DeviceRun::downloaderArguments(LogHandler& log)
{
    QByteArray lines;
    for (Step const& step : m_steps) {
        if (!step.request) // a wait, which has no command line
            continue;
        QStringList const arguments = DownloaderRun(*step.request, m_result.device.serial, log).arguments();
        lines += QJsonDocument(QJsonArray::fromStringList(arguments)).toJson(QJsonDocument::Compact) + '\n';
    }
    return lines;
}

void DeviceRun::run(LogHandler& log)
{
    int const count = static_cast<int>(m_steps.size());
    m_setting.log->begin(log);
    QElapsedTimer timer;
    timer.start();
    m_result.kind = Outcome::Success;
    for (int i = 0; i < count && m_result.kind == Outcome::Success; ++i) {
        auto const index = static_cast<std::size_t>(i);
        if (m_setting.recipe.isArray)
            m_setting.log->beginStep(log, i + 1, count, m_setting.recipe.steps[index].command);
        if (i > 0 && Interruption::isRequested()) {
            log.logMessage(kErrorLevel, "Interrupted: this step, and any after it, was not run");
            m_result.kind = Outcome::Failure;
        } else {
            QElapsedTimer stepTimer;
            stepTimer.start();
            m_result.kind = carryOut(m_steps[index], log) ? Outcome::Success : Outcome::Failure;
            if (m_setting.recipe.isArray)
                static_cast<Outcome&>(m_result.steps[index]) = {m_result.kind, stepTimer.elapsed(),
                                                                m_setting.log->lastError(log)};
        }
        m_result.error = m_setting.log->lastError(log);
    }
    m_result.duration = timer.elapsed();
    m_setting.log->end(log);
}

void DeviceRun::reject(LogHandler const& log)
{
    m_result.kind = Outcome::Failure;
    m_result.error = m_setting.log->lastError(log);
}

bool DeviceRun::carryOut(Step const& step, LogHandler& log) const
{
    if (!step.request)
        return wait(step.wait, log);
    if (!runRequest(*step.request, log))
        return false;
    if (!m_setting.tokenCheck || step.request->getCommandId() != QLatin1String(kWriteToken))
        return true;
    auto const readBack = [&](JsonObject const& request) {
        VrelFlashUtils command;
        return command.parseArguments(request, log) && runRequest(command, log);
    };
    return m_setting.tokenCheck->isRight(step.request->getParameters(), readBack, log);
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

bool DeviceRun::wait(int seconds, LogHandler const& log) const
{
    QString cause;
    auto const isListed = [&] {
        cause.clear();
        VrelApiManager api = m_setting.manager->fetchApi(); // out of process only for this moment
        auto const list = VendorApi::list(api, cause);
        return list && std::any_of(list->begin(), list->end(), [&](auto const& device) {
                   return device.second == m_result.device.serial;
               });
    };
    if (Interruption::retry(isListed, std::chrono::seconds(seconds)))
        return true;
    if (Interruption::isRequested())
        log.logMessage(kErrorLevel, "Interrupted while waiting for the device");
    else
        log.logMessage(kErrorLevel, QStringLiteral("The vendor API did not list the device within %1 s%2")
                                        .arg(seconds)
                                        .arg(cause.isEmpty() ? cause : QStringLiteral(": ") + cause));
    return false;
}
