#include "tools/ruxFwDownloader/DownloaderHelp.h"

#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tools/common/CommandLine.h"

#include <QCommandLineParser>

namespace {

QString commandHelp()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Carries a command out on a device in RuX recovery mode; getSerial shows its\n"
                       "serial number."));
    parser.addOptions({
        option(QLatin1String("command"), "The command, as vrelhost usages tells them.", "NAME"),
        option(QLatin1String("sn"), "The device with this serial number; without it the only device.",
               "SERIAL"),
        option(QLatin1String("KEY"),
               "A parameter of the command. Numbers are decimal, or hexadecimal with 0x.", "VALUE"),
        {{QStringLiteral("h"), QStringLiteral("help")},
         QStringLiteral("Show this help; with getSerial, that of its own.")},
        option(QLatin1String("version"),
               "Show the versions of library and vendor API, and the date of the build."),
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

QList<QCommandLineOption> serialQueryOptions()
{
    return {
        option(QLatin1String("uid"), "The device at this USB path, such as 1-4.2.", "PATH"),
        option(QLatin1String("quiet"), "Show nothing else, which is so in any case."),
    };
}
