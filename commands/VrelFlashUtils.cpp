#include "commands/VrelFlashUtils.h"

#include "commands/VrelCommand.h"
#include "external/JsonObject.h"
#include "external/LogConsoleHandler.h"
#include "plugin/VrelProcessWait.h"

#include <QFileInfo>
#include <QProcess>

#include <optional>

using VrelUtilsCommand::VrelCommand;

namespace {

QString commandKey()
{
    return QStringLiteral("command");
}

bool isExecutableFile(QString const& path)
{
    QFileInfo const info(path);
    return info.isFile() && info.isExecutable();
}

/** A NUL would end it early, and so name another device. */
bool isSerial(QString const& serial, LogHandler const& log)
{
    if (!serial.contains(QChar(0)))
        return true;
    log.logMessage(kErrorLevel, "Invalid serial number: it has a NUL");
    return false;
}

/** A text that Qt passes to a process as UTF-8: it encodes by a codec that any host may set. */
std::optional<QString> passedAsUtf8(QString const& text)
{
    QByteArray const utf8 = text.toUtf8();
    for (QString const& candidate : {text, QString::fromLocal8Bit(utf8)}) {
        if (candidate.toLocal8Bit() == utf8)
            return candidate;
    }
    return std::nullopt;
}

} // namespace

VrelFlashUtils::VrelFlashUtils() = default;

VrelFlashUtils::VrelFlashUtils(JsonObject const& json)
{
    LogHandler log;
    parseArguments(json, log);
}

VrelFlashUtils::~VrelFlashUtils() = default;

bool VrelFlashUtils::parseArguments(JsonObject const& json, LogHandler& log)
{
    QString id;
    int const readResult = json.getString(commandKey(), id);
    if (readResult == JsonObject::Unusable) {
        log.logMessage(kErrorLevel, "Invalid command parameter value");
        return false;
    }
    if (readResult == JsonObject::Absent) {
        log.logMessage(kErrorLevel, "Missing command parameter");
        return false;
    }
    if (readResult == JsonObject::Present && id.isEmpty()) {
        log.logMessage(kErrorLevel, "Invalid empty command parameter");
        return false;
    }
    std::unique_ptr<VrelCommand> parsed(VrelCommand::createCommandFromId(id));
    if (!parsed) {
        log.logMessage(kErrorLevel, QStringLiteral("Unknown command '") + id + QLatin1Char('\''));
        return false;
    }
    if (!parsed->parseArguments(json, log))
        return false;
    command = std::move(parsed);
    return true;
}

QString VrelFlashUtils::getCommandId()
{
    return command ? command->getCommandId() : QStringLiteral("null");
}

JsonObject VrelFlashUtils::getParameters()
{
    if (!command)
        return JsonObject();
    JsonObject params = command->getParameters();
    params.setValue(commandKey(), command->getCommandId());
    return params;
}

QString VrelFlashUtils::getUsages()
{
    return VrelCommand::getUsages();
}

JsonObject VrelFlashUtils::getParameters(JsonObject const& json, QString& error)
{
    return VrelCommand::getParameters(json, error);
}

JsonObject VrelFlashUtils::getParameterTypes(JsonObject const& json)
{
    QString id;
    if (json.getString(commandKey(), id) != JsonObject::Present)
        return JsonObject();
    JsonObject types = VrelCommand::getParameterTypes(id);
    if (!types.empty())
        types.setValue(commandKey(), QStringList(id));
    return types;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): a run holds a handle of its own
bool VrelFlashUtils::run(VrelApiManager api, QString const& serial, LogHandler& log)
{
    if (!command || !api || !isSerial(serial, log))
        return false;
    log.logMessage(kTraceLevel, QStringLiteral("Running command '") + command->getCommandId() +
                                    QStringLiteral("' on ") + serial.toUpper());
    return command->run(api, serial, log);
}

bool VrelFlashUtils::run(QString const& exe, QString const& serial, LogHandler& log,
                         unsigned long long timeout)
{
    QProcess process;
    DefaultExeRunner runner(log);
    commonRun(process, exe, serial, log, runner, timeout);
    return runner.success;
}

void VrelFlashUtils::commonRun(QProcess& process, QString const& exe, QString const& serial, LogHandler& log,
                               ExeRunner& runner, unsigned long long timeout)
{
    if (!command || !isExecutableFile(exe) || !command->isValid() || !isSerial(serial, log))
        return;
    QStringList const args = exeArguments(serial);
    LogConsoleHandler const console(process);
    log.bind(console);
    log.logMessage(kTraceLevel, QStringLiteral("Running ruxFwDownloader ") + args.join(QLatin1Char(' ')));
    runner.run(process, exe, args, timeout);
}

QStringList VrelFlashUtils::exeArguments(QString const& serial) const
{
    QStringList args{QStringLiteral("--command"), command->getCommandId()};
    if (!serial.isEmpty())
        args << QStringLiteral("--sn") << serial;
    for (auto const& [key, value] : command->getParameters())
        args << QStringLiteral("--") + key << value.toString();
    return args;
}

VrelFlashUtils::ExeRunner::ExeRunner() = default;

VrelFlashUtils::ExeRunner::~ExeRunner() = default;

VrelFlashUtils::DefaultExeRunner::DefaultExeRunner(LogHandler const& log)
    : m_log(log)
{
}

void VrelFlashUtils::DefaultExeRunner::run(QProcess& process, QString const& exe, QStringList const& args,
                                           unsigned long long timeout)
{
    QStringList passed;
    for (QString const& argument : args) {
        auto const text = passedAsUtf8(argument);
        if (!text) {
            m_log.logMessage(kErrorLevel,
                             QStringLiteral("Cannot pass '%1' to the downloader: the host's codec for the "
                                            "locale cannot express it in UTF-8")
                                 .arg(argument));
            return;
        }
        passed << *text;
    }
    process.start(exe, passed, QIODevice::ReadWrite);
    success = VrelProcessWait::waitForExit(process, timeout, m_log) == 0;
}
