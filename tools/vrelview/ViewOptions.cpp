#include "tools/vrelview/ViewOptions.h"

#include "plugin/VrelVersion.h"
#include "tools/common/CommandLine.h"

#include <QCommandLineParser>
#include <QSysInfo>

namespace {

void addOptions(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Shows a ledger in a browser while stations write it. The first line on standard\n"
                       "output is the page's address."));
    parser.addOptions({
        option(QLatin1String("listen"),
               "Address and port to listen on; default 127.0.0.1:8480, for this machine only. Port 0 picks a "
               "free one.",
               "ADDRESS:PORT", QStringLiteral("127.0.0.1:8480")),
        option(QLatin1String("title"), "The page's title; default 'Boards on' and this machine's name.",
               "TEXT", QStringLiteral("Boards on ") + QSysInfo::machineHostName()),
        {{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")},
        option(QLatin1String("version"), "Print the version and exit."),
    });
}

QString help(QCommandLineParser const& parser)
{
    return helpText(QStringLiteral("vrelview LEDGER [--listen ADDRESS:PORT] [--title TEXT]"), parser,
                    QStringLiteral("Exit code:\n"
                                   "  0  ended by SIGINT or SIGTERM\n"
                                   "  1  the address is not available\n"
                                   "  2  the arguments were rejected\n\n"
                                   "Example:\n"
                                   "  $ vrelview ledger.db --title 'Line 3'\n"));
}

QString faultOf(QCommandLineParser const& parser, bool isParsed, std::optional<ListenAddress> const& listen)
{
    QStringList const arguments = parser.positionalArguments();
    if (!isParsed)
        return parserFault(parser);
    if (arguments.isEmpty())
        return QStringLiteral("No ledger given");
    if (arguments.size() > 1)
        return QStringLiteral("Unexpected argument '%1'").arg(arguments.at(1));
    if (arguments.at(0).isEmpty())
        return QStringLiteral("LEDGER must not be empty");
    if (!listen)
        return QStringLiteral(
                   "--listen must be an IP address or localhost, a colon, and a port up to 65535, such as "
                   "0.0.0.0:8480 or [::]:8480, not '%1'")
            .arg(parser.value(QStringLiteral("listen")));
    return QString();
}

} // namespace

ViewOptions ViewOptions::read(QStringList const& commandLine)
{
    ViewOptions options;
    QCommandLineParser parser;
    addOptions(parser);
    bool const isParsed = parser.parse(commandLine);
    auto const listen = ListenAddress::read(parser.value(QStringLiteral("listen")));
    if (parser.isSet(QStringLiteral("help"))) {
        options.answer = help(parser);
    } else if (parser.isSet(QStringLiteral("version"))) {
        options.answer = QStringLiteral(VREL_VERSION_STR "\n");
    } else {
        options.fault = faultOf(parser, isParsed, listen);
        options.ledger = parser.positionalArguments().value(0);
        options.title = parser.value(QStringLiteral("title"));
        options.listen = listen.value_or(ListenAddress());
    }
    return options;
}
