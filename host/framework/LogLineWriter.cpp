#include "host/framework/LogLineWriter.h"

#include "host/framework/LogLineFormat.h"

#include <iterator>

namespace {

/** Words by level; progress speaks for itself. */
constexpr char const* kLevelWords[] = {"fatal: ", "error: ", "warning: ", "", "trace: ", "raw: "};

QByteArray toReadableLine(LogLine const& line)
{
    QString text;
    if (line.level >= 0 && line.level < static_cast<int>(std::size(kLevelWords)))
        text += QLatin1String(kLevelWords[line.level]);
    if (!line.prefix.isEmpty())
        text += line.prefix + QStringLiteral(": ");
    text += toText(line);
    return text.toUtf8();
}

} // namespace

LogSink makeLogLineWriter(std::FILE* stream, LogFormat format, Logger::LogLevel maxLevel)
{
    return [stream, format, maxLevel](LogLine const& line) {
        if (line.level > maxLevel)
            return;
        QByteArray bytes = format == LogFormat::Json ? toJson(line) : toReadableLine(line);
        bytes += '\n';
        // One call, so that lines of several threads do not mix. A log that cannot be written stops nothing.
        static_cast<void>(std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream));
        static_cast<void>(std::fflush(stream));
    };
}
