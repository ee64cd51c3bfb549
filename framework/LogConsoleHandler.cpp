#include "external/LogConsoleHandler.h"

#include "framework/LogLines.h"

#include <QProcess>

#include <algorithm>

namespace {

constexpr Logger::LogLevel kStandardOutputLevel = kProgressLevel;
constexpr Logger::LogLevel kStandardErrorLevel = kWarningLevel;
constexpr Logger::LogLevel kFailureLevel = kWarningLevel;
constexpr int kLongestLine = 1024 * 1024;
constexpr int kMostTexts = 8; ///< of a structured line

bool isUtf8Continuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/** Splits a stream of bytes into lines; keeps what follows the last line end. */
class LineSplitter
{
public:
    template <typename Receiver>
    void add(QByteArray const& bytes, Receiver const& receive)
    {
        int start = 0;
        while (start < bytes.size()) {
            int const end = bytes.indexOf('\n', start);
            append(bytes, start, end < 0 ? bytes.size() : end, receive);
            if (end < 0)
                return;
            take(m_rest.size(), receive);
            start = end + 1;
        }
    }

    template <typename Receiver>
    void finish(Receiver const& receive)
    {
        if (!m_rest.isEmpty())
            take(m_rest.size(), receive);
    }

private:
    template <typename Receiver>
    void append(QByteArray const& bytes, int start, int end, Receiver const& receive)
    {
        while (start < end) {
            int const count = std::min(end - start, kLongestLine - m_rest.size());
            m_rest.append(bytes.constData() + start, count);
            start += count;
            if (m_rest.size() == kLongestLine && start < end)
                take(characterBoundary(), receive);
        }
    }

    /** Where an overlong line can be cut without tearing a character apart. */
    int characterBoundary() const
    {
        constexpr int kLongestCharacter = 4;
        int cut = m_rest.size();
        for (int i = 0; i < kLongestCharacter; ++i) {
            --cut;
            if (!isUtf8Continuation(m_rest.at(cut)))
                return static_cast<signed char>(m_rest.at(cut)) >= 0 ? m_rest.size() : cut;
        }
        return m_rest.size();
    }

    template <typename Receiver>
    void take(int size, Receiver const& receive)
    {
        QByteArray line = m_rest.left(size);
        m_rest.remove(0, size);
        if (line.endsWith('\r')) // as through a pseudo-terminal, or from a program made for Windows
            line.chop(1);
        receive(line);
    }

    QByteArray m_rest;
};

} // namespace

class LogConsoleHandler::Private
{
public:
    Private(LogConsoleHandler const& log, QProcess& process)
        : m_log(log)
        , m_process(process)
    {
        QProcessEnvironment environment = process.processEnvironment();
        if (environment.isEmpty())
            environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QLatin1String(kLogFormatVariable), QStringLiteral("json"));
        process.setProcessEnvironment(environment);

        m_connections[0] =
            QObject::connect(&process, &QProcess::readyReadStandardOutput, [this] { readOutput(); });
        m_connections[1] =
            QObject::connect(&process, &QProcess::readyReadStandardError, [this] { readError(); });
        m_connections[2] = QObject::connect(&process, &QProcess::errorOccurred,
                                            [this](QProcess::ProcessError error) { reportError(error); });
        m_connections[3] = QObject::connect(
            &process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
            [this](int exitCode, QProcess::ExitStatus status) { reportEnd(exitCode, status); });
    }

    ~Private()
    {
        for (QMetaObject::Connection const& connection : m_connections)
            QObject::disconnect(connection);
        flush();
    }

    Private(Private const&) = delete;
    Private& operator=(Private const&) = delete;

private:
    void readOutput()
    {
        m_output.add(m_process.readAllStandardOutput(),
                     [this](QByteArray const& line) { logLine(kStandardOutputLevel, line); });
    }

    void readError()
    {
        m_error.add(m_process.readAllStandardError(),
                    [this](QByteArray const& line) { logLine(kStandardErrorLevel, line); });
    }

    /** Hands on what came without a line end. */
    void flush()
    {
        m_output.finish([this](QByteArray const& line) { logLine(kStandardOutputLevel, line); });
        m_error.finish([this](QByteArray const& line) { logLine(kStandardErrorLevel, line); });
    }

    void logLine(Logger::LogLevel level, QByteArray const& bytes) const
    {
        // Output that was left unfinished may stand before it. Within its texts a quote follows a backslash,
        // so that only the end of a text looks like its beginning.
        int start = 0;
        auto line = fromJson(bytes);
        int candidate = bytes.size();
        for (int i = 0; !line && candidate > 0 && i < kMostTexts; ++i) {
            candidate = bytes.lastIndexOf("{\"", candidate - 1);
            start = std::max(candidate, 0);
            line = fromJson(bytes.mid(start));
        }
        if (!line || start > 0)
            logText(level, line ? bytes.left(start) : bytes);
        if (line && line->isLabelled)
            m_log.logMessage(line->level, line->label, line->value);
        else if (line)
            m_log.logMessage(line->level, line->text);
    }

    void logText(Logger::LogLevel level, QByteArray const& bytes) const
    {
        m_log.logMessage(level, QString::fromUtf8(bytes.constData(), bytes.size())); // NULs end nothing
    }

    void reportError(QProcess::ProcessError error) const
    {
        if (error == QProcess::FailedToStart)
            m_log.logMessage(kFailureLevel,
                             QStringLiteral("Process failed to start: ") + m_process.errorString());
    }

    void reportEnd(int exitCode, QProcess::ExitStatus status)
    {
        flush();
        if (status == QProcess::CrashExit)
            m_log.logMessage(kFailureLevel, "Process was ended by a signal");
        else if (exitCode != 0)
            m_log.logMessage(kFailureLevel, QStringLiteral("Process ended with exit code %1").arg(exitCode));
    }

    LogConsoleHandler const& m_log;
    QProcess& m_process;
    LineSplitter m_output;
    LineSplitter m_error;
    QMetaObject::Connection m_connections[4];
};

LogConsoleHandler::LogConsoleHandler(QProcess& process)
    : d(std::make_unique<Private>(*this, process))
{
}

LogConsoleHandler::~LogConsoleHandler() = default;
