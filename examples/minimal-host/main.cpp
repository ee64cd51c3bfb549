#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "host/framework/JsonText.h"
#include "host/framework/LogSink.h"
#include "plugin/VrelManager.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

/** Shows errors, warnings, progress and results. A labelled line has a label and a value, no text. */
void printLine(LogLine const& line)
{
    if (line.level <= kProgressLevel)
        std::printf("[%d] %s\n", line.level, qPrintable(line.text + line.label + line.value));
}

bool run(VrelManager& manager, VrelFlashUtils& command, QString const& serial, QString const& downloader,
         LogHandler& log)
{
    constexpr unsigned long long kTimeout = 60000;
    if (!downloader.isEmpty())
        return command.run(downloader, serial, log, kTimeout);
    VrelApiManager const api = manager.fetchApi(); // given back with the last copy of this handle
    if (!api)
        std::puts("No vendor API: another process may be using it");
    return command.run(api, serial, log);
}

} // namespace

/** usage: minimal-host REQUEST [SERIAL [DOWNLOADER]]; exit code 1: it failed, 2: the request was rejected */
int main(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    QStringList const arguments = QCoreApplication::arguments();

    setLogSink(printLine); // first: without a sink, every line is dropped
    VrelManager manager;   // before anything else of the library, and destroyed last
    LogHandler log;
    VrelFlashUtils command;
    QString error;
    auto const request = parseJsonObject(arguments.value(1).toUtf8(), error);
    if (!request)
        log.logMessage(kErrorLevel, error);
    if (!request || !command.parseArguments(*request, log))
        return 2; // each bad parameter has been logged, at level 1
    return run(manager, command, arguments.value(2), arguments.value(3), log) ? 0 : 1;
}
