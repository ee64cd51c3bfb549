#include "tools/ruxFwDownloader/DownloaderHelp.h"

#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tools/common/CommandLine.h"

#include <QCommandLineParser>

namespace {

QString commandHelp()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Runs a command on a device in RuX recovery mode; getSerial prints its\nserial number."));
    parser.addOptions({
        option(QLatin1String("command"), "The command; vrelhost usages lists them.", "NAME"),
        option(QLatin1String("sn"), "The device with this serial number; default: the only device.",
               "SERIAL"),
        option(QLatin1String("KEY"),
               "A parameter of the command. Numbers are decimal, or hexadecimal with 0x.", "VALUE"),
        {{QStringLiteral("h"), QStringLiteral("help")},
         QStringLiteral("Show this help, or that of getSerial.")},
        option(QLatin1String("version"), "Print versions and exit."),
    });
    return helpText(QStringLiteral("ruxFwDownloader --command NAME [--sn SERIAL] [--KEY VALUE ...]\n"
                                   "       ruxFwDownloader getSerial [--quiet] --uid PATH"),
                    parser,
                    QStringLiteral("Exit code:\n"
                                   "  0  success\n"
                                   "  1  the command failed, or the vendor API is not available\n"
                                   "  2  the arguments were rejected; nothing was run\n\n"
                                   "Example:\n"
                                   "  $ ruxFwDownloader --command startover --sn 0A1B2C3D --flags 1\n"));
}

QString serialQueryHelp()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Prints the serial number of a device, alone on one line."));
    parser.addOptions(serialQueryOptions());
    return helpText(QStringLiteral("ruxFwDownloader getSerial [--quiet] --uid PATH"), parser,
                    QStringLiteral("Exit code:\n"
                                   "  0  success\n"
                                   "  1  there is no device at the path, or the vendor API is not available\n"
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
        option(QLatin1String("quiet"), "Has no effect: only the number is printed anyway."),
    };
}
