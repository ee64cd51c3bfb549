#include "tools/ruxFwDownloader/DownloaderHelp.h"

#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tools/common/CommandLine.h"
#include "tools/ruxFwDownloader/SerialQuery.h"

#include <QCommandLineParser>

namespace {

QString const kHelp = QStringLiteral("help");
QString const kVersion = QStringLiteral("version");

QString commandHelp()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Carries a command out on a device in RuX recovery mode; getSerial shows its\n"
                       "serial number."));
    parser.addOptions({
        {QStringLiteral("command"), QStringLiteral("The command, as vrelhost usages tells them."),
         QStringLiteral("NAME")},
        {QStringLiteral("sn"),
         QStringLiteral("The device with this serial number; without it the only device."),
         QStringLiteral("SERIAL")},
        {QStringLiteral("KEY"),
         QStringLiteral("A parameter of the command. Numbers are decimal, or hexadecimal with 0x."),
         QStringLiteral("VALUE")},
        {{QStringLiteral("h"), kHelp}, QStringLiteral("Show this help; with getSerial, that of its own.")},
        {kVersion, QStringLiteral("Show the versions of library and vendor API, and the date of the build.")},
    });
    return helpText(QStringLiteral("ruxFwDownloader --command NAME [--sn SERIAL] [--KEY VALUE ...]\n"
                                   "       ruxFwDownloader getSerial [--quiet] --uid PATH"),
                    parser,
                    QStringLiteral("Exit code:\n"
                                   "  0  success\n"
                                   "  1  the command failed, or there was no vendor API for it\n"
                                   "  2  the arguments were rejected; nothing was run\n\n"
                                   "Example:\n"
                                   "  $ ruxFwDownloader --command startover --sn 0A1B2C3D --flags 1\n"));
}

QString serialQueryHelp()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows the serial number of a device, alone on one line."));
    parser.addOptions(serialQueryOptions());
    return helpText(QStringLiteral("ruxFwDownloader getSerial [--quiet] --uid PATH"), parser,
                    QStringLiteral("Exit code:\n"
                                   "  0  success\n"
                                   "  1  there is no device at the path, or no vendor API\n"
                                   "  2  the arguments were rejected\n\n"
                                   "Example:\n"
                                   "  $ ruxFwDownloader getSerial --quiet --uid 1-4.2\n"));
}

} // namespace

QString answerAboutTheProgram(QStringList const& arguments)
{
    bool const isQuery = arguments.value(0) == QLatin1String("getSerial");
    for (int i = isQuery ? 1 : 0; i < arguments.size(); i += isQuery ? 1 : 2) { // values may be anything
        QString const& option = arguments.at(i);
        if (option == QLatin1String("--help") || option == QLatin1String("-h"))
            return isQuery ? serialQueryHelp() : commandHelp();
        if (option == QLatin1String("--version"))
            return VrelManager::getVersion() + QLatin1Char('\n') + VrelManagerLib::getBuildDate() +
                   QLatin1Char('\n');
    }
    return QString();
}
