#include "tools/vrelhost/commandline/HostTool.h"

#include "external/LogHandler.h"
#include "framework/LogLines.h"
#include "tools/common/CommandLine.h"
#include "tools/common/ToolProcess.h"
#include "tools/vrelhost/request/Refusal.h"

#include <algorithm>

namespace {

/** Those before the first option, behind the program's name. */
QStringList leadingWords(QStringList const& commandLine)
{
    auto const option = std::find_if(commandLine.begin(), commandLine.end(),
                                     [](QString const& word) { return word.startsWith(QLatin1Char('-')); });
    return commandLine.mid(1, static_cast<int>(option - commandLine.begin()) - 1);
}

} // namespace

HostTool::HostTool(std::vector<std::vector<Subcommand>> const& subcommands, std::FILE* output, std::FILE* log)
    : m_subcommands(subcommands)
    , m_console(output, log)
{
}

int HostTool::run(QStringList const& arguments)
{
    try {
        return carryOut(QStringList(QStringLiteral("vrelhost")) + arguments);
    } catch (Refusal const& refusal) {
        m_console.showWork(false);
        QString const name = QStringLiteral("vrelhost %1").arg(m_name).trimmed();
        m_console.log().logMessage(
            kErrorLevel, refusal.advice() == Refusal::SeeUsage
                             ? QStringLiteral("%1 (%2 --help shows the usage)").arg(refusal.cause(), name)
                             : refusal.cause());
        return ExitRejected;
    }
}

int HostTool::carryOut(QStringList const& commandLine)
{
    QString const versionWord = QStringLiteral("version");
    QStringList arguments = leadingWords(commandLine);
    Meant meant = m_subcommands.meantBy(arguments);
    if (meant.size() != 1 || arguments.size() < meant.front()->nameWords().size()) {
        arguments = positionalArguments(commandLine);
        meant = m_subcommands.meantBy(arguments);
    }
    m_parser.addOptions(SubcommandTable::commonOptions());
    if (meant.size() == 1)
        m_parser.addOptions(meant.front()->ownOptions());
    if (!meant.empty())
        m_name = meant.front()->nameWords().mid(0, meant.size() > 1 ? 1 : 2).join(QLatin1Char(' '));
    bool const isParsed = m_parser.parse(commandLine);
    if (isParsed)
        arguments = m_parser.positionalArguments();
    applyLogOptions();
    if (!arguments.isEmpty() && meant.empty())
        throw Refusal(QStringLiteral("Unknown subcommand '%1'").arg(arguments.join(QLatin1Char(' '))));
    if (m_parser.isSet(QStringLiteral("help")))
        return m_console.print(help(meant).toUtf8());
    if (m_parser.isSet(versionWord))
        return m_subcommands.meantBy({versionWord}).front()->carryOut({m_parser, {}, m_console});
    QString const fault = argumentFault(meant, arguments, isParsed);
    if (!fault.isEmpty())
        throw Refusal(fault);
    Subcommand const& subcommand = *meant.front();
    return subcommand.carryOut({m_parser, arguments.mid(subcommand.nameWords().size()), m_console});
}

/** What is neither an option of any subcommand nor the value of one, wherever it stands. */
QStringList HostTool::positionalArguments(QStringList const& commandLine) const
{
    QCommandLineParser parser;
    parser.addOptions(m_subcommands.allOptions());
    parser.parse(commandLine);
    return parser.positionalArguments();
}

void HostTool::applyLogOptions()
{
    QString const format = m_parser.value(QStringLiteral("log-format"));
    QString const levelText = m_parser.value(QStringLiteral("log-level"));
    bool isNumber = false;
    int const level = levelText.toInt(&isNumber);
    bool const isJson = format == QLatin1String("json");
    if (!isJson && format != QLatin1String("text"))
        throw Refusal(QStringLiteral("--log-format must be text or json, not '%1'").arg(format));
    LogFormat const logFormat = isJson ? LogFormat::Json : LogFormat::Text;
    m_console.setLog(logFormat, kProgressLevel);
    if (!isNumber || level < 0 || level > kHighestLogLevel)
        throw Refusal(QStringLiteral("--log-level must be a number from 0 to %1, not '%2'")
                          .arg(kHighestLogLevel)
                          .arg(levelText));
    m_console.setLog(logFormat, level);
}

/** Of the subcommands that are meant, or an overview when none is. */
QString HostTool::help(Meant const& meant) const
{
    QStringList pages;
    for (Subcommand const* const entry : meant)
        pages << entry->help();
    return pages.isEmpty() ? m_subcommands.overview() : pages.join(QLatin1Char('\n'));
}

/** What is wrong with the command line; empty when nothing is. */
QString HostTool::argumentFault(Meant const& meant, QStringList const& arguments, bool isParsed) const
{
    if (arguments.isEmpty())
        return isParsed ? QStringLiteral("No subcommand given") : parserFault(m_parser);
    int const nameLength = meant.front()->nameWords().size();
    if (meant.size() > 1 || arguments.size() < nameLength)
        return QStringLiteral("The subcommand '%1' is incomplete").arg(m_name);
    return isParsed ? meant.front()->argumentFault(arguments.mid(nameLength)) : parserFault(m_parser);
}
