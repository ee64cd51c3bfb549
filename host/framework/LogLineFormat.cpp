#include "host/framework/LogLineFormat.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <iterator>

namespace {

QLatin1String const kLevel("level");
QLatin1String const kName("name");
QLatin1String const kPrefix("prefix");
QLatin1String const kText("text");
QLatin1String const kLabel("label");
QLatin1String const kValue("value");

/** Words by level; progress speaks for itself. */
constexpr char const* kLevelWords[] = {"fatal: ", "error: ", "warning: ", "", "trace: ", "raw: "};

} // namespace

QString toText(LogLine const& line)
{
    return line.isLabelled ? line.label + line.value : line.text;
}

QString toReadableText(LogLine const& line)
{
    QString text;
    if (line.level >= 0 && line.level < static_cast<int>(std::size(kLevelWords)))
        text += QLatin1String(kLevelWords[line.level]);
    if (!line.prefix.isEmpty())
        text += line.prefix + QStringLiteral(": ");
    return text + toText(line);
}

QByteArray toJson(LogLine const& line)
{
    QJsonObject json{{kLevel, line.level}, {kName, line.name}, {kPrefix, line.prefix}};
    if (line.isLabelled) {
        json.insert(kLabel, line.label);
        json.insert(kValue, line.value);
    } else {
        json.insert(kText, line.text);
    }
    if (line.device) {
        json.insert(QLatin1String("serial"), line.device->serial);
        json.insert(QLatin1String("path"),
                    line.device->path.isNull() ? QJsonValue() : QJsonValue(line.device->path));
    }
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

std::optional<LogLine> fromJson(QByteArray const& bytes)
{
    if (!bytes.startsWith('{'))
        return std::nullopt;
    QJsonObject const json = QJsonDocument::fromJson(bytes).object();
    LogLine line;
    line.isLabelled = json.value(kLabel).isString() && json.value(kValue).isString();
    line.level = json.value(kLevel).toInt(-1);
    bool const hasLevel = line.level >= 0 && line.level <= kHighestLogLevel;
    if (!hasLevel || !(line.isLabelled || json.value(kText).isString()))
        return std::nullopt;
    line.text = json.value(kText).toString();
    line.label = json.value(kLabel).toString();
    line.value = json.value(kValue).toString();
    return line;
}
