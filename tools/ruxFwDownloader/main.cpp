#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/LogLines.h"
#include "plugin/VrelManager.h"
#include "tools/common/ExitCode.h"
#include "tools/common/ToolProcess.h"
#include "tools/common/VendorApi.h"
#include "tools/ruxFwDownloader/DownloaderArguments.h"
#include "tools/ruxFwDownloader/DownloaderHelp.h"
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
    return isJson ? makeLogLineWriter(stdout, LogFormat::Json, kHighestLogLevel)
                  : makeLogLineWriter(stdout, LogFormat::Text, kProgressLevel);
}

int reject(QString const& cause, LogHandler const& log)
{
    log.logMessage(kErrorLevel, cause + QStringLiteral(" (ruxFwDownloader --help shows the usage)"));
    return ExitRejected;
}

int print(QString const& text)
{
    return writeWhole(stdout, text.toUtf8()) ? ExitSuccess : ExitFailure;
}

int runCommand(QStringList const& arguments, LogHandler& log)
{
    QString error;
    auto const parsed = parseDownloaderArguments(arguments, error);
    if (!parsed)
        return reject(error, log);
    for (QString const& option : parsed->unknownOptions)
        reject(QStringLiteral("Unknown option '%1'").arg(option), log);
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
    if (!path)
        return reject(error, log);
    auto const serial = querySerial(*path, log);
    return serial ? print(*serial + QLatin1Char('\n')) : ExitFailure;
}

int run(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    LogHandler& log = VendorApi::lastingLog(QStringLiteral("ruxFwDownloader"));
    QStringList const arguments = QCoreApplication::arguments().mid(1);
    QString const answer = answerAboutTheProgram(arguments);
    if (!answer.isEmpty())
        return print(answer);
    if (arguments.value(0) == QLatin1String("getSerial"))
        return printSerial(arguments.mid(1), log);
    return runCommand(arguments, log);
}

} // namespace

int main(int argc, char* argv[])
{
    ToolProcess::begin("ruxFwDownloader");
    setLogSink(makeSink());
    return ToolProcess::end(run(argc, argv));
}
