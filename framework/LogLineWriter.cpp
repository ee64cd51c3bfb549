#include "framework/LogLineWriter.h"

#include "framework/LogLineFormat.h"

LogSink makeLogLineWriter(std::FILE* stream, LogFormat format, Logger::LogLevel maxLevel)
{
    return [stream, format, maxLevel](LogLine const& line) {
        if (line.level > maxLevel)
            return;
        QByteArray bytes = format == LogFormat::Json ? toJson(line) : toReadableText(line).toUtf8();
        bytes += '\n';
        // One call, so that lines of several threads do not mix. A log that cannot be written stops nothing.
        static_cast<void>(std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream));
        static_cast<void>(std::fflush(stream));
    };
}
