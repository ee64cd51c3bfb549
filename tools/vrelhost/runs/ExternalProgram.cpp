#include "tools/vrelhost/runs/ExternalProgram.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelProcessWait.h"
#include "tools/common/CommandLine.h"
#include "tools/vrelhost/runs/ProcessGroup.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>

namespace {

/** Logs what has come of a stream, line by line. @param isWhole whether nothing more will come */
void logLines(QProcess& process, QProcess::ProcessChannel channel, bool isWhole, LogHandler const& log)
{
    constexpr qint64 kLongestLine = qint64{1024} * 1024; // longer ones are logged in pieces
    Logger::LogLevel const level = channel == QProcess::StandardOutput ? kProgressLevel : kWarningLevel;
    process.setReadChannel(channel);
    while (process.canReadLine() || process.bytesAvailable() >= (isWhole ? 1 : kLongestLine)) {
        QByteArray line = process.readLine(kLongestLine);
        for (char const end : {'\n', '\r'}) {
            if (line.endsWith(end))
                line.chop(1);
        }
        log.logMessage(level, QString::fromUtf8(line.constData(), line.size())); // NULs end nothing
    }
}

/** How a program failed, as the end of a sentence; empty when it did not. */
QString fault(QProcess const& process, bool hasEnded, bool isLate, int seconds)
{
    if (process.error() == QProcess::FailedToStart)
        return QStringLiteral("cannot be started: ") + process.errorString();
    if (isLate)
        return QStringLiteral("did not finish within %1 s and was killed; \"timeout\" gives it more time")
            .arg(seconds);
    if (!hasEnded)
        return QStringLiteral("was killed by signal %1").arg(process.exitCode());
    return process.exitCode() == 0 ? QString()
                                   : QStringLiteral("ended with exit code %1").arg(process.exitCode());
}

} // namespace

bool ExternalProgram::run(QStringList const& words, int seconds, QProcessEnvironment const& environment,
                          LogHandler& log)
{
    constexpr int kMilliseconds = 1000;
    QProcess process;
    auto const logAll = [&](bool isWhole) {
        for (auto const channel : {QProcess::StandardOutput, QProcess::StandardError})
            logLines(process, channel, isWhole, log);
    };
    QObject::connect(&process, &QProcess::channelReadyRead, [&logAll](int /*channel*/) { logAll(false); });
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    QString const program = QFileInfo(findProgram(words.constFirst())).absoluteFilePath();
    ProcessGroup::start(process, program, words.mid(1), ProcessGroup::End::Always);
    auto const timeout = static_cast<unsigned long long>(seconds) * kMilliseconds;
    bool const hasEnded = VrelProcessWait::waitForExit(process, timeout, log).has_value();
    logAll(true);
    bool const isLate = !hasEnded && timer.elapsed() >= qint64{seconds} * kMilliseconds;
    QString const cause = fault(process, hasEnded, isLate, seconds);
    if (!cause.isEmpty())
        log.logMessage(kErrorLevel, QStringLiteral("The program '%1' %2").arg(words.constFirst(), cause));
    return cause.isEmpty();
}
