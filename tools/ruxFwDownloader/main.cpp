#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/LogLineFormat.h"
#include "framework/LogLineWriter.h"
#include "plugin/VrelManager.h"
#include "tools/common/ExitCode.h"
#include "tools/common/StandardStreams.h"
#include "tools/ruxFwDownloader/DownloaderArguments.h"
#include "tools/ruxFwDownloader/InProcessRun.h"
#include "tools/ruxFwDownloader/SerialQuery.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

/**
 * A host that asks for JSON gets every line and filters by itself; a person gets up to progress and results.
 */
LogSink makeSink()
{
    bool const isJson = qgetenv(kLogFormatVariable) == "json";
    return isJson ? makeLogLineWriter(stdout, LogFormat::Json, 5)
                  : makeLogLineWriter(stdout, LogFormat::Text, 3);
}

int runCommand(QStringList const& arguments, LogHandler& log)
{
    QString error;
    auto const parsed = parseDownloaderArguments(arguments, error);
    if (!parsed) {
        log.logMessage(1, error);
        return ExitRejected;
    }
    for (QString const& option : parsed->unknownOptions)
        log.logMessage(1, QStringLiteral("Unknown option '%1'").arg(option));
    VrelManager manager;
    VrelFlashUtils command;
    if (!command.parseArguments(parsed->request, log) || !parsed->unknownOptions.isEmpty())
        return ExitRejected;
    return runInProcess(manager, command, parsed->serial, log) ? ExitSuccess : ExitFailure;
}

int printSerial(QStringList const& arguments, LogHandler& log)
{
    QString error;
    auto const path = parseSerialQuery(arguments, error);
    if (!path) {
        log.logMessage(1, error);
        return ExitRejected;
    }
    auto const serial = querySerial(*path, log);
    if (!serial)
        return ExitFailure;
    bool const isWritten = std::puts(serial->toUtf8().constData()) >= 0 && std::fflush(stdout) == 0;
    return isWritten ? ExitSuccess : ExitFailure;
}

} // namespace

int main(int argc, char* argv[])
{
    openStandardStreams();
    QCoreApplication const application(argc, argv);
    setLogSink(makeSink());
    LogHandler log;
    log.setName(QStringLiteral("ruxFwDownloader"));
    QStringList const arguments = QCoreApplication::arguments().mid(1);
    if (arguments.value(0) == QLatin1String("getSerial"))
        return printSerial(arguments.mid(1), log);
    return runCommand(arguments, log);
}
