#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/LogLines.h"
#include "plugin/VrelManager.h"
#include "tools/common/CommandLine.h"
#include "tools/common/ToolProcess.h"
#include "tools/common/VendorApi.h"
#include "tools/ruxFwDownloader/DownloaderArguments.h"
#include "tools/ruxFwDownloader/DownloaderHelp.h"

#include <QCommandLineParser>
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
    VrelApiManager const api = VendorApi::fetch(manager, log);
    return api && command.run(api, parsed->serial, log) ? ExitSuccess : ExitFailure;
}

/** The USB path in what follows "getSerial"; empty, with the cause in `error`, when there is none. */
QString queriedPath(QStringList const& arguments, QString& error)
{
    QCommandLineParser parser;
    parser.addOptions(serialQueryOptions());
    bool const isParsed = parser.parse(arguments);
    QString const path = parser.value(QStringLiteral("uid"));
    if (!isParsed)
        error = parserFault(parser);
    else if (!parser.positionalArguments().isEmpty())
        error = QStringLiteral("Unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
    else if (path.isEmpty())
        error = QStringLiteral("Missing option '--uid'");
    return path;
}

/** There is nothing but the number to be said on success, with --quiet or without. */
int printSerial(QStringList const& arguments, LogHandler const& log)
{
    QString error;
    QString const path = queriedPath(arguments, error);
    if (!error.isEmpty())
        return reject(error, log);
    VrelManager manager;
    VrelApiManager api = manager.fetchApi();
    auto const devices = VendorApi::list(api, error);
    if (devices && devices->count(path) > 0)
        return print(devices->at(path) + QLatin1Char('\n'));
    if (devices)
        error = QStringLiteral("There is no device at the USB path '%1'").arg(path);
    log.logMessage(kErrorLevel, error);
    return ExitFailure;
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
        return printSerial(arguments, log); // with its name in the program's place
    return runCommand(arguments, log);
}

} // namespace

int main(int argc, char* argv[])
{
    ToolProcess::begin("ruxFwDownloader");
    setLogSink(makeSink());
    return ToolProcess::end(run(argc, argv));
}
