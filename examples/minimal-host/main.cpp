#include "commands/VrelFlashUtils.h"
#include "external/JsonObject.h"
#include "external/LogHandler.h"
#include "host/framework/LogSink.h"
#include "plugin/VrelManager.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace {

/** The host's JSON type from any JSON text; empty, which no command takes, when the text is not an object. */
JsonObject readRequest(QByteArray const& text)
{
    JsonObject request;
    QJsonObject const json = QJsonDocument::fromJson(text).object();
    for (auto entry = json.begin(); entry != json.end(); ++entry)
        request.setValue(entry.key(), entry.value().toVariant());
    return request;
}

/** Shows errors, warnings, progress and results. A labelled line has a label and a value, no text. */
void printLine(LogLine const& line)
{
    constexpr Logger::LogLevel kHighestShown = 3;
    if (line.level <= kHighestShown)
        std::printf("[%d] %s\n", line.level, qPrintable(line.text + line.label + line.value));
}

} // namespace

/** usage: minimal-host REQUEST [SERIAL] */
int main(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    QStringList const arguments = QCoreApplication::arguments();
    setLogSink(printLine);

    VrelManager manager; // before anything else of the library
    std::printf("VrelManager %s\n", qPrintable(VrelManager::getVersion()));

    LogHandler log;
    VrelFlashUtils command;
    if (!command.parseArguments(readRequest(arguments.value(1).toUtf8()), log))
        return 2; // every reason has been printed
    VrelApiManager api = manager.fetchApi();
    if (!api) {
        std::puts("No vendor API: another process may be using it");
        return 1;
    }
    return command.run(api, arguments.value(2), log) ? 0 : 1;
}
