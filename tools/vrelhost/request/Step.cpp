#include "tools/vrelhost/request/Step.h"

#include "framework/JsonText.h"
#include "tools/vrelhost/request/Placeholders.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/TableFile.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <iterator>

namespace {

QLatin1String const kCommandKey("command");

/** A step that is no request: its command, and the key that it may have beside that. */
struct Kind
{
    QLatin1String command;
    QLatin1String option;
};

Kind const kKinds[] = {
    {QLatin1String("wait"), QLatin1String("for")},
    {QLatin1String("exec"), QLatin1String("timeout")},
    {QLatin1String("take"), {}},
    {QLatin1String("look-up"), {}},
};

void refuseUnknownKeys(QJsonObject const& json, Kind const& kind)
{
    for (QString const& key : json.keys()) {
        if (key != kind.command && (key != kind.option || key.isEmpty()))
            refuse(
                QStringLiteral("Unknown key '%1': a step \"%2\" has no other keys%3")
                    .arg(key, kind.command,
                         kind.option.isEmpty() ? QString() : QStringLiteral(" but \"%1\"").arg(kind.option)));
    }
}

int seconds(QJsonObject const& json, QLatin1String key)
{
    int const value = json.value(key).toInt(0); // 0 also for what is no whole number
    if (value < 1 || value > Step::kLongest)
        refuse(QStringLiteral("\"%1\" must be a whole number of seconds from 1 to %2")
                   .arg(key)
                   .arg(Step::kLongest));
    return value;
}

QStringList programWords(QJsonValue const& value)
{
    QStringList words;
    for (QJsonValue const word : value.toArray()) {
        if (!word.isString() || word.toString().contains(QChar::Null))
            refuse(QStringLiteral("\"exec\" must be an array of texts without NUL"));
        words << word.toString();
    }
    if (words.isEmpty() || words.constFirst().isEmpty())
        refuse(QStringLiteral("\"exec\" must be an array of texts, the first of which names a program"));
    return words;
}

Step::Wait wait(QJsonObject const& json)
{
    QJsonValue const reason = json.value(QLatin1String("for"));
    if (!reason.isUndefined() && reason != QLatin1String("restart"))
        refuse(QStringLiteral("\"for\" must be \"restart\""));
    return {seconds(json, QLatin1String("wait")), !reason.isUndefined()};
}

Step::Exec exec(QJsonObject const& json)
{
    QLatin1String const timeout("timeout");
    Step::Exec exec{programWords(json.value(QLatin1String("exec")))};
    if (json.contains(timeout))
        exec.seconds = seconds(json, timeout);
    return exec;
}

Step::Row row(QJsonObject const& json, QString const& command)
{
    QString const file = json.value(command).toString();
    if (file.isEmpty())
        refuse(QStringLiteral("\"%1\" must be the name of a CSV file").arg(command));
    bool const isTaken = command == QLatin1String("take");
    return {isTaken, std::make_shared<TableFile>(file, isTaken ? CsvTable::ForTake : CsvTable::ForLookUp)};
}

} // namespace

void Step::parse()
{
    if (!json.isObject())
        refuse(QStringLiteral("it is not a JSON object"));
    QJsonObject const object = json.toObject();
    bool const isRequest = object.contains(kCommandKey);
    auto const kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](Kind const& candidate) {
        return !isRequest && object.contains(candidate.command);
    });
    if (kind == std::end(kKinds)) {
        parseRequest();
        return;
    }
    command = kind->command;
    refuseUnknownKeys(object, *kind);
    if (command == QLatin1String("wait"))
        action = wait(object);
    else if (command == QLatin1String("exec"))
        action = exec(object);
    else
        action = row(object, command);
}

void Step::parseRequest()
{
    QJsonObject const object = json.toObject();
    command = object.value(kCommandKey).toString();
    action.emplace<RequestTemplate>(toJsonObject(object));
}

QStringList Step::names() const
{
    if (auto const* const request = as<RequestTemplate>())
        return request->names();
    QStringList names;
    if (auto const* const exec = as<Exec>()) {
        for (QString const& word : exec->words)
            names += Placeholders::namesIn(word);
    }
    return names;
}
