#include "framework/LogLines.h"

#include "framework/CompactJson.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <iterator>
#include <poll.h>
#include <unistd.h>

namespace {

QLatin1String const kLevel("level");
QLatin1String const kName("name");
QLatin1String const kPrefix("prefix");
QLatin1String const kText("text");
QLatin1String const kLabel("label");
QLatin1String const kValue("value");

/** Words by level; progress speaks for itself. */
constexpr char const* kLevelWords[] = {"fatal: ", "error: ", "warning: ", "", "trace: ", "raw: "};

/** Waits until a stream that does not block takes bytes again. */
bool waitUntilWritable(int descriptor)
{
    constexpr int kForever = -1;
    pollfd stream = {descriptor, POLLOUT, 0};
    return ::poll(&stream, 1, kForever) > 0 || errno == EINTR;
}

bool writeAll(int descriptor, QByteArray const& bytes)
{
    int written = 0;
    while (written < bytes.size()) {
        auto const rest = static_cast<std::size_t>(bytes.size() - written);
        ssize_t const count = ::write(descriptor, bytes.constData() + written, rest);
        if (count >= 0)
            written += static_cast<int>(count);
        else if (errno == EAGAIN ? !waitUntilWritable(descriptor) : errno != EINTR)
            return false;
    }
    return true;
}

} // namespace

bool writeWhole(std::FILE* stream, QByteArray const& bytes)
{
    ::flockfile(stream);
    // Not by the stream itself: it gives up where a signal comes between or a stream does not block.
    bool const isWritten = std::fflush(stream) == 0 && writeAll(::fileno(stream), bytes);
    ::funlockfile(stream);
    return isWritten;
}

LogSink makeLogLineWriter(std::FILE* stream, LogFormat format, Logger::LogLevel maxLevel)
{
    return [stream, format, maxLevel](LogLine const& line) {
        if (line.level > maxLevel)
            return;
        QByteArray const bytes = format == LogFormat::Json ? toJson(line) : toReadableText(line).toUtf8();
        writeWhole(stream, bytes + '\n'); // a log that cannot be written stops nothing
    };
}

QString toText(LogLine const& line)
{
    return line.isLabelled ? line.label + line.value : line.text;
}

QString toReadableText(LogLine const& line)
{
    bool const hasWord = line.level >= 0 && line.level < static_cast<int>(std::size(kLevelWords));
    QString const word = QLatin1String(hasWord ? kLevelWords[line.level] : "");
    QString const prefix = line.prefix.isEmpty() ? QString() : line.prefix + QStringLiteral(": ");
    if (!line.device)
        return word + prefix + toText(line);
    QString text = prefix + word + toText(line);
    return text.replace(QLatin1Char('\n'), QLatin1Char('\n') + prefix);
}

QByteArray toJson(LogLine const& line, QString const& time)
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
    if (line.step != 0) {
        json.insert(QLatin1String("step"), line.step);
        json.insert(QLatin1String("command"), line.command);
    }
    if (!time.isEmpty())
        json.insert(QLatin1String("time"), time);
    return toCompactText(QJsonDocument(json));
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
