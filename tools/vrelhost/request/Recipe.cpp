#include "tools/vrelhost/request/Recipe.h"

#include "external/LogHandler.h"
#include "framework/JsonText.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/RequestRules.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <unistd.h>

namespace {

QString const kWaitKey = QStringLiteral("wait");
QString const kCommandKey = QStringLiteral("command");

/** Far above any request; keeps a wrong path such as a device file from filling the memory. */
constexpr qint64 kLargestRequest = qint64{1024} * 1024;

bool open(QFile& file, QString const& argument)
{
    if (argument == QLatin1String("-"))
        return file.open(STDIN_FILENO, QIODevice::ReadOnly); // as a stream it would end at a pause
    file.setFileName(argument);
    return file.open(QIODevice::ReadOnly);
}

[[noreturn]] void refuse(QString const& argument, QString const& cause)
{
    throw Refusal(QStringLiteral("Cannot read the request '%1': %2").arg(argument, cause));
}

/** All that a file or standard input holds. */
QByteArray content(QString const& argument)
{
    QFile file;
    QByteArray text;
    if (open(file, argument))
        text = file.read(kLargestRequest + 1);
    if (file.error() != QFileDevice::NoError)
        refuse(argument, file.errorString());
    if (text.size() > kLargestRequest)
        refuse(argument, QStringLiteral("it is larger than %1 bytes").arg(kLargestRequest));
    return text;
}

bool isJson(QString const& argument)
{
    return argument.startsWith(QLatin1Char('{')) || argument.startsWith(QLatin1Char('['));
}

/** What `parse` makes of the text that an argument stands for. */
template <typename Parsed>
Parsed readAs(std::optional<Parsed> (*parse)(QByteArray const& text, QString& error), QString const& argument)
{
    QByteArray const text = argument.isEmpty() || isJson(argument) ? argument.toUtf8() : content(argument);
    if (text.trimmed().isEmpty())
        refuse(argument, QStringLiteral("it is empty"));
    QString cause;
    auto const parsed = parse(text, cause);
    if (!parsed)
        refuse(argument, cause);
    return *parsed;
}

/** What a wait says in seconds; 0 when that is no time to wait. */
int waitTime(QJsonObject const& step)
{
    int const seconds = step.value(kWaitKey).toInt(0); // 0 also for what is no whole number
    return step.size() == 1 && seconds <= Recipe::kLongestWait ? std::max(seconds, 0) : 0;
}

/** Fills in what a step that is a request says; why it cannot be taken is logged. */
bool acceptRequest(Recipe::Step& step, QJsonObject const& json, LogHandler& log)
{
    step.command = json.value(kCommandKey).toString();
    JsonObject const request = toJsonObject(json);
    if (!RequestRules::accept(request, log))
        return false;
    step.request.emplace(request);
    return true;
}

/** Fills in what a step says; of one that cannot be taken its command, with the cause logged or in `cause`.
 */
bool acceptStep(Recipe::Step& step, QString& cause, LogHandler& log)
{
    if (!step.json.isObject()) {
        cause = QStringLiteral(": it is no JSON object");
        return false;
    }
    QJsonObject const json = step.json.toObject();
    if (!json.contains(kWaitKey) || json.contains(kCommandKey))
        return acceptRequest(step, json, log);
    step.command = kWaitKey;
    step.wait = waitTime(json);
    if (step.wait == 0)
        cause = QStringLiteral(": \"wait\" stands alone, with a whole number of seconds from 1 to %1")
                    .arg(Recipe::kLongestWait);
    return step.wait > 0;
}

} // namespace

Recipe Recipe::read(QString const& argument)
{
    QJsonDocument const json = readAs(parseJson, argument);
    Recipe recipe;
    recipe.isArray = json.isArray();
    for (QJsonValue const value : recipe.isArray ? json.array() : QJsonArray{json.object()})
        recipe.steps.push_back({value, {}, 0, {}});
    if (recipe.steps.empty())
        refuse(argument, QStringLiteral("it is a recipe without steps"));
    return recipe;
}

bool Recipe::accept(LogHandler& log)
{
    if (!isArray)
        return acceptRequest(steps.front(), steps.front().json.toObject(), log);
    for (Step& step : steps) {
        QString cause;
        if (acceptStep(step, cause, log))
            continue;
        log.logMessage(kErrorLevel, rejection(static_cast<int>(&step - steps.data()) + 1, cause));
        return false;
    }
    return true;
}

bool Recipe::needsPath() const
{
    return std::any_of(steps.begin(), steps.end(),
                       [](Step const& step) { return step.request && step.request->needsPath(); });
}

bool Recipe::has(char const* command) const
{
    return std::any_of(steps.begin(), steps.end(),
                       [command](Step const& step) { return step.command == QLatin1String(command); });
}

int Recipe::sharedFileStep() const
{
    auto const isShared = [](Step const& step) {
        if (!step.request)
            return false;
        QString const name = RequestRules::writtenFile(step.request->request());
        auto const one = step.request->forDevice({QStringLiteral("A"), QStringLiteral("1-1")});
        auto const other = step.request->forDevice({QStringLiteral("B"), QStringLiteral("1-2")});
        return !name.isEmpty() && RequestRules::writtenFile(one) == RequestRules::writtenFile(other);
    };
    auto const shared = std::find_if(steps.begin(), steps.end(), isShared);
    return shared == steps.end() ? 0 : static_cast<int>(shared - steps.begin()) + 1;
}

QString Recipe::rejection(int number, QString const& cause) const
{
    QString const& command = steps.at(static_cast<std::size_t>(number) - 1).command;
    return QStringLiteral("Step %1%2 of the recipe is rejected%3; nothing was run")
        .arg(QString::number(number), command.isEmpty() ? command : QStringLiteral(" (%1)").arg(command),
             cause);
}

JsonObject readRequest(QString const& argument)
{
    return readAs(parseJsonObject, argument);
}
