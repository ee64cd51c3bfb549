#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/vrelhost/ledger/LedgerReport.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/log/RunReport.h"
#include "tools/vrelhost/request/CommandList.h"
#include "tools/vrelhost/request/RequestTemplate.h"
#include "tools/vrelhost/request/Step.h"
#include "tools/vrelhost/subcommands/Subcommands.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <limits>

/**
 * @file
 * JSON Schema (2020-12) of what the tool reads and writes. Those of requests are what the library says and
 * does: its names, types and usage texts, and which requests it takes.
 */
namespace {

QString const kCommandName = QStringLiteral("command");
QString const kDescription = QStringLiteral("description");

/** No text with a NUL is one of the library's or of a program. */
constexpr char const* kText = R"({"type": "string", "minLength": 1, "pattern": "^[^\\u0000]*$"})";
constexpr char const* kAnyText = R"({"type": "string", "pattern": "^[^\\u0000]*$"})";

/** What a text alone may stand for where the value is none: of a device, or of any column. */
QString const kDeviceName = QStringLiteral(R"(^\\{(serial|path)\\}$)");
QString const kAnyName = QStringLiteral(R"(^\\{[A-Za-z0-9_-]+\\}$)");

QJsonObject schemaOf(QString const& json)
{
    return QJsonDocument::fromJson(json.toUtf8()).object();
}

QString jsonText(QJsonObject const& json)
{
    return QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact));
}

QString jsonText(QStringList const& words)
{
    return QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(words)).toJson(QJsonDocument::Compact));
}

/** Of every command's parameters, as "COMMAND KEY". */
std::map<QString, QString> readMeanings()
{
    static QRegularExpression const s_parameter(
        QStringLiteral("\\A\\t +--(\\S+) arg(?: \\[= \\S+\\])? +(.*)\\z"));
    QStringList const names = CommandList::names();
    std::map<QString, QString> meanings;
    QString command;
    for (QString const& line : VrelFlashUtils::getUsages().split(QLatin1Char('\n'))) {
        auto const parameter = s_parameter.match(line);
        if (parameter.hasMatch())
            meanings[command + QLatin1Char(' ') + parameter.captured(1)] = parameter.captured(2);
        else if (names.contains(line.trimmed()))
            command = line.trimmed();
    }
    return meanings;
}

/** How the library judges requests of a command: a good one, and that with one parameter changed. */
class CommandTrial
{
public:
    explicit CommandTrial(JsonObject const& types)
    {
        for (auto const& [key, type] : types)
            m_good.setValue(key, sample(type));
    }

    bool takesWithout(QString const& key) const
    {
        JsonObject request;
        for (auto const& entry : m_good) {
            if (entry.first != key)
                request.setValue(entry.first, entry.second);
        }
        return isAccepted(request);
    }

    bool takes(QString const& key, QVariant const& value) const
    {
        JsonObject request = m_good;
        request.setValue(key, value);
        return isAccepted(request);
    }

    /** The greatest number that it takes, whatever its type says; 0 when it takes no number. */
    unsigned greatest(QString const& key) const
    {
        for (unsigned const number :
             {std::numeric_limits<unsigned>::max(), unsigned{std::numeric_limits<unsigned char>::max()}}) {
            if (takes(key, number))
                return number;
        }
        return 0;
    }

private:
    static QVariant sample(QVariant const& type)
    {
        if (type.userType() == QMetaType::QStringList)
            return type.toStringList().constFirst();
        return RequestTemplate::greatestNumber(type.toString()) > 0 ? QVariant(0) : QStringLiteral("0");
    }

    static bool isAccepted(JsonObject const& request)
    {
        LogHandler log;
        return VrelFlashUtils().parseArguments(request, log);
    }

    JsonObject m_good;
};

/** @param name in braces, that may stand for a number or, where it may be a column's, for a word */
QJsonObject valueSchema(CommandTrial const& trial, QString const& key, QVariant const& type,
                        QString const& name)
{
    unsigned const greatest = trial.greatest(key);
    if (greatest > 0)
        return schemaOf(
            QStringLiteral(R"({"type": ["integer", "string"], "minimum": 0, "maximum": %1, "pattern": "%2"})")
                .arg(QString::number(greatest), name));
    if (type.userType() != QMetaType::QStringList)
        return schemaOf(QLatin1String(trial.takes(key, QStringLiteral("")) ? kAnyText : kText));
    QString const words = QStringLiteral(R"({"enum": %1})").arg(jsonText(type.toStringList()));
    return schemaOf(
        name == kAnyName
            ? QStringLiteral(R"({"anyOf": [%1, {"type": "string", "pattern": "%2"}]})").arg(words, name)
            : words);
}

QJsonObject commandSchema(QString const& command, std::map<QString, QString> const& meanings,
                          QString const& name)
{
    JsonObject const types = CommandList::types(command);
    CommandTrial const trial(types);
    QJsonObject properties{{kCommandName, true}};
    QStringList required;
    for (auto const& [key, type] : types) {
        if (key == kCommandName)
            continue;
        QJsonObject value = valueSchema(trial, key, type, name);
        auto const meaning = meanings.find(command + QLatin1Char(' ') + key);
        if (meaning != meanings.end())
            value.insert(kDescription, meaning->second);
        properties.insert(key, value);
        if (!trial.takesWithout(key))
            required << key;
    }
    return schemaOf(
        QStringLiteral(R"({"if": {"properties": {"command": {"const": "%1"}}, "required": ["command"]},
        "then": {"properties": %2, "required": %3, "additionalProperties": false}})")
            .arg(command, jsonText(properties), jsonText(required)));
}

/** @param name as for a value */
QJsonObject requestSchema(QString const& name)
{
    LogSink const sink = setLogSink(nullptr); // the trials are no concern of the user's
    auto const meanings = readMeanings();
    QJsonArray commands;
    for (QString const& command : CommandList::names())
        commands << commandSchema(command, meanings, name);
    setLogSink(sink);
    QJsonObject schema = schemaOf(QStringLiteral(R"({"type": "object", "required": ["command"],
        "properties": {"command": {"enum": %1, "description": "What is done; the other keys are its parameters"}}})")
                                      .arg(jsonText(CommandList::names())));
    schema.insert(QStringLiteral("allOf"), commands);
    return schema;
}

QJsonObject recipeSchema()
{
    // The first key of these that a step has says what it is, "command" before all.
    return schemaOf(
        QStringLiteral(R"({"type": "array", "minItems": 1, "items": {"$ref": "#/$defs/step"}, "$defs": {
        "request": %1,
        "step": {"type": "object", "properties": {
                "command": {"description": "A vendor command; the other keys are its parameters"},
                "wait": {"description": "Seconds in which the device has to be listed"},
                "exec": {"description": "A program with its arguments"},
                "take": {"description": "A CSV file; the device gets a row that no other has"},
                "look-up": {"description": "A CSV file; the device's row by its serial number"}},
            "if": {"required": ["command"]}, "then": {"$ref": "#/$defs/request"}, "else": {
            "if": {"required": ["wait"]}, "then": {"$ref": "#/$defs/wait"}, "else": {
            "if": {"required": ["exec"]}, "then": {"$ref": "#/$defs/exec"}, "else": {
            "if": {"required": ["take"]}, "then": {"$ref": "#/$defs/take"}, "else": {
            "if": {"required": ["look-up"]}, "then": {"$ref": "#/$defs/look-up"}, "else": {
            "$ref": "#/$defs/request"}}}}}},
        "seconds": {"type": "integer", "minimum": 1, "maximum": %2},
        "wait": {"properties": {"wait": {"$ref": "#/$defs/seconds"},
                "for": {"const": "restart", "description": "The device has to be away in between"}},
            "additionalProperties": false},
        "exec": {"properties": {"exec": {"type": "array", "minItems": 1, "prefixItems": [%3], "items": %4},
                "timeout": {"$ref": "#/$defs/seconds", "description": "Seconds after which it is killed; default %5"}},
            "additionalProperties": false},
        "take": {"properties": {"take": %3}, "additionalProperties": false},
        "look-up": {"properties": {"look-up": %3}, "additionalProperties": false}}})")
            .arg(jsonText(requestSchema(kAnyName)), QString::number(Step::kLongest), QLatin1String(kText),
                 QLatin1String(kAnyText), QString::number(Step::Exec().seconds)));
}

/** How something ended, in these words. */
QString outcomeMembers(std::initializer_list<Outcome::Kind> kinds)
{
    QStringList words;
    for (auto const kind : kinds)
        words << RunReport::word({kind, 0, {}});
    return QStringLiteral(
               R"("result": {"enum": %1}, "duration": {"type": "integer", "description": "milliseconds"},
        "error": {"type": ["string", "null"]})")
        .arg(jsonText(words));
}

/** Keys of a device, which several formats have. */
QString deviceMembers()
{
    return outcomeMembers({Outcome::NotRun, Outcome::Success, Outcome::Failure, Outcome::Done}) +
           QStringLiteral(R"(, "serial": {"type": "string"}, "path": {"type": ["string", "null"]},
        "job": {"type": "string"}, "service": {"type": "string", "description": "UUID in the ledger"},
        "time": {"type": "string", "format": "date-time"})");
}

QJsonObject resultsSchema()
{
    return schemaOf(
        QStringLiteral(R"({"if": {"type": "array"}, "then": {"items": {"$ref": "#/$defs/device"}},
        "else": {"$ref": "#/$defs/device", "required": ["time"]}, "$defs": {
        "step": {"type": "object", "properties": {"command": {"type": "string"}, %2}, "required": ["command", "result", "duration", "error"]},
        "device": {"type": "object", "properties": {%1, "steps": {"type": "array", "items": {"$ref": "#/$defs/step"}}},
            "required": ["serial", "path", "result", "duration", "error", "job"]}}})")
            .arg(deviceMembers(), outcomeMembers({Outcome::NotRun, Outcome::Success, Outcome::Failure})));
}

QJsonObject logSchema()
{
    return schemaOf(QStringLiteral(R"({"type": "object", "properties": {%1,
        "level": {"type": "integer", "minimum": 0, "maximum": %2}, "name": {"type": "string"}, "prefix": {"type": "string"},
        "text": {"type": "string"}, "label": {"type": "string"}, "value": {"type": "string"},
        "step": {"type": "integer", "minimum": 1}, "command": {"type": "string"}, "tool": {"type": "string"},
        "recipe": {"type": "array", "items": {"type": "string"}},
        "inputs": {"type": "array", "items": {"type": "object", "required": ["name", "size", "sha256"], "properties": {
            "name": {"type": "string"}, "size": {"type": "integer"}, "sha256": {"type": "string"}}}}},
        "required": ["level", "name", "prefix"], "oneOf": [{"required": ["text"]}, {"required": ["label", "value"]}],
        "dependentRequired": {"serial": ["path"], "step": ["serial", "command"], "result": ["duration", "error", "time"],
            "recipe": ["job", "inputs", "tool", "time"]}})")
                        .arg(deviceMembers())
                        .arg(kHighestLogLevel));
}

int printSchema(Invocation const& call, QJsonObject schema, char const* title)
{
    schema.insert(QStringLiteral("$schema"), QStringLiteral("https://json-schema.org/draft/2020-12/schema"));
    schema.insert(QStringLiteral("title"), QLatin1String(title));
    return call.console.print(QJsonDocument(schema).toJson());
}

int showRequest(Invocation const& call)
{
    return printSchema(call, requestSchema(kDeviceName), "A request of vrelhost");
}

int showRecipe(Invocation const& call)
{
    return printSchema(call, recipeSchema(), "A recipe of vrelhost");
}

int showResults(Invocation const& call)
{
    return printSchema(call, resultsSchema(),
                       "Output of vrelhost run --json, or a line of vrelhost station --json");
}

int showLog(Invocation const& call)
{
    return printSchema(call, logSchema(),
                       "A line of vrelhost's log with --log-format json, or of a file below --log-dir");
}

int showLedger(Invocation const& call)
{
    return printSchema(call, schemaOf(QString::fromUtf8(LedgerReport::schema())),
                       "Output of vrelhost ledger boards, services, summary or show with --json");
}

Subcommand schemaRow(char const* name, int (*carryOut)(Invocation const& call), char const* purpose,
                     char const* example)
{
    return {name,   kNoArguments, nullptr, carryOut, purpose, "success", "the result cannot be written",
            example};
}

} // namespace

Subcommands::Rows Subcommands::schema()
{
    return {
        schemaRow("schema request", showRequest,
                  "Prints a JSON Schema of requests, for editors and other programs.",
                  "vrelhost schema request >request.schema.json"),
        schemaRow("schema recipe", showRecipe, "Prints that of recipes.",
                  "vrelhost schema recipe >recipe.schema.json"),
        schemaRow("schema results", showResults, "Prints that of what run and station print with --json.",
                  "vrelhost schema results >results.schema.json"),
        schemaRow("schema log", showLog, "Prints that of a JSON log line.",
                  "vrelhost schema log >log.schema.json"),
        schemaRow("schema ledger", showLedger,
                  "Prints that of what the subcommands of ledger print with --json.",
                  "vrelhost schema ledger >ledger.schema.json"),
    };
}
