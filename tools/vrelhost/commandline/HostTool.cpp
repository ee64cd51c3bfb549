#include "tools/vrelhost/commandline/HostTool.h"

#include "commands/VrelFlashUtils.h"
#include "framework/JsonText.h"
#include "framework/LogLines.h"
#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tools/common/CommandLine.h"
#include "tools/common/ToolProcess.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/commandline/Subcommand.h"
#include "tools/vrelhost/log/TerminalLog.h"
#include "tools/vrelhost/subcommands/RigSubcommand.h"
#include "tools/vrelhost/subcommands/RunSubcommand.h"
#include "tools/vrelhost/subcommands/ScanOptions.h"
#include "tools/vrelhost/subcommands/ScanSubcommand.h"
#include "tools/vrelhost/subcommands/StationSubcommand.h"
#include "tools/vrelhost/work/DeviceRun.h"

HostTool::HostTool(std::FILE* output, std::FILE* log)
    : m_output(output)
    , m_logStream(log)
    , m_log(VendorApi::lastingLog(QStringLiteral("vrelhost")))
{
    setLog(LogFormat::Text, kProgressLevel);
}

HostTool::~HostTool() = default;

int HostTool::run(QStringList const& arguments)
{
    QStringList const commandLine = QStringList(QStringLiteral("vrelhost")) + arguments;
    m_arguments = positionalArguments(commandLine);
    Subcommands const meant = Subcommand::meantBy(m_arguments);
    m_parser.addOptions(Subcommand::commonOptions());
    if (meant.size() == 1)
        m_parser.addOptions(meant.front()->options());
    if (!meant.empty())
        m_name = meant.front()->nameWords().mid(0, meant.size() > 1 ? 1 : 2).join(QLatin1Char(' '));
    bool const isParsed = m_parser.parse(commandLine);
    if (!applyLogOptions())
        return ExitRejected;
    if (!m_arguments.isEmpty() && meant.empty())
        return reject(QStringLiteral("Unknown subcommand '%1'").arg(m_arguments.join(QLatin1Char(' '))));
    if (m_parser.isSet(QStringLiteral("help")))
        return print(help(meant).toUtf8());
    if (m_parser.isSet(QStringLiteral("version")))
        return showVersion();
    QString const fault = argumentFault(meant, isParsed);
    if (!fault.isEmpty())
        return reject(fault);
    m_arguments = m_arguments.mid(meant.front()->nameWords().size());
    return (this->*meant.front()->carryOut)();
}

/** What is neither an option of any subcommand nor the value of one, wherever it stands. */
QStringList HostTool::positionalArguments(QStringList const& commandLine)
{
    QCommandLineParser parser;
    parser.addOptions(Subcommand::allOptions());
    parser.parse(commandLine);
    return parser.positionalArguments();
}

/** What is wrong with the command line; empty when nothing is. */
QString HostTool::argumentFault(Subcommands const& meant, bool isParsed) const
{
    if (m_arguments.isEmpty())
        return isParsed ? QStringLiteral("No subcommand given") : parserFault(m_parser);
    QStringList const name = meant.front()->nameWords();
    if (meant.size() > 1 || m_arguments.size() < name.size())
        return QStringLiteral("The subcommand '%1' is not complete").arg(m_name);
    if (!isParsed)
        return parserFault(m_parser);
    QStringList const expected = meant.front()->argumentWords();
    QStringList const given = m_arguments.mid(name.size());
    if (given.size() > expected.size())
        return QStringLiteral("Unexpected argument '%1'").arg(given.at(expected.size()));
    if (given.size() < expected.size() && !expected.at(given.size()).startsWith(QLatin1Char('[')))
        return QStringLiteral("%1 needs the argument %2").arg(m_name, expected.at(given.size()));
    if (!given.isEmpty() && given.constFirst().isEmpty() &&
        expected.constFirst().contains(QLatin1String("DIR")))
        return QStringLiteral("The rig's directory has a name that is not empty");
    return QString();
}

/** Of the subcommands that are meant, or an overview when none is. */
QString HostTool::help(Subcommands const& meant)
{
    QStringList pages;
    for (Subcommand const* const entry : meant)
        pages << entry->help();
    return pages.isEmpty() ? Subcommand::overview() : pages.join(QLatin1Char('\n'));
}

bool HostTool::applyLogOptions()
{
    QString const format = m_parser.value(QStringLiteral("log-format"));
    QString const levelText = m_parser.value(QStringLiteral("log-level"));
    bool isNumber = false;
    int const level = levelText.toInt(&isNumber);
    bool const isJson = format == QLatin1String("json");
    if (!isJson && format != QLatin1String("text")) {
        reject(QStringLiteral("--log-format is text or json, not '%1'").arg(format));
        return false;
    }
    LogFormat const logFormat = isJson ? LogFormat::Json : LogFormat::Text;
    setLog(logFormat, kProgressLevel);
    if (!isNumber || level < 0 || level > kHighestLogLevel) {
        reject(QStringLiteral("--log-level is a number from 0 to %1, not '%2'")
                   .arg(kHighestLogLevel)
                   .arg(levelText));
        return false;
    }
    setLog(logFormat, level);
    return true;
}

void HostTool::setLog(LogFormat format, Logger::LogLevel maxLevel)
{
    m_terminal.reset();
    if (format == LogFormat::Text && TerminalLog::isTerminal(m_logStream))
        m_terminal = std::make_shared<TerminalLog>(m_logStream, maxLevel);
    if (m_terminal)
        setLogSink([terminal = m_terminal](LogLine const& line) { terminal->write(line); });
    else
        setLogSink(makeLogLineWriter(m_logStream, format, maxLevel));
}

void HostTool::showWork(bool isShown)
{
    if (m_terminal)
        m_terminal->showWork(isShown);
}

int HostTool::showVersion()
{
    return print(VrelManager::getVersion().toUtf8() + '\n' + VrelManagerLib::getBuildDate() + '\n');
}

int HostTool::showUsages()
{
    return print(VrelFlashUtils::getUsages().toUtf8());
}

int HostTool::showTypes()
{
    JsonObject request;
    request.setValue(QStringLiteral("command"), m_arguments.constFirst());
    return print(toCompactJson(VrelFlashUtils::getParameterTypes(request)) + '\n');
}

int HostTool::showParameters()
{
    QString error;
    auto const request = readRequest(m_arguments.constFirst(), error);
    if (!request)
        return reject(error);
    JsonObject const parameters = VrelFlashUtils::getParameters(*request, error);
    int const printed = print(toCompactJson(parameters) + '\n');
    if (error.isEmpty())
        return printed;
    m_log.logMessage(kErrorLevel, error);
    return ExitRejected;
}

int HostTool::runRequest()
{
    return carryOut({}, runOnDevices);
}

int HostTool::serveStation()
{
    RunOptions usual;
    usual.isAll = true;
    return carryOut(usual, serveDevices);
}

int HostTool::carryOut(RunOptions usual, int (*work)(RunSetting&))
{
    QString error;
    auto recipe = Recipe::read(m_arguments.constFirst(), error);
    usual.isMany = usual.isAll || (recipe && recipe->isArray);
    auto const options = recipe ? RunOptions::read(m_parser, usual, error) : std::nullopt;
    if (!options)
        return reject(error);
    for (QString const& line : options->idle)
        m_log.logMessage(kWarningLevel, line);
    if (!recipe->accept(m_log))
        return ExitRejected;
    RunSetting setting{*options, *recipe, m_log, m_terminal.get(),
                       [this](QByteArray const& text, QString const& what) { return print(text, what); }};
    showWork(true);
    int const exitCode = work(setting);
    showWork(false);
    return exitCode;
}

int HostTool::scanDevices()
{
    QString error;
    auto const options = ScanOptions::read(m_parser, m_log, error);
    if (!options)
        return reject(error);
    showWork(true);
    auto const devices = findAndIdentify(*options, m_log);
    showWork(false);
    if (!devices)
        return ExitFailure;
    return print(options->isJson ? ScanReport::toJson(*devices) : ScanReport::toTable(*devices));
}

int HostTool::createRig()
{
    QString const directory = m_arguments.constFirst();
    bool isNumber = false;
    int const count = m_parser.value(QStringLiteral("devices")).toInt(&isNumber);
    if (!isNumber || count < 1 || count > RigSubcommand::kMostDevices)
        return reject(QStringLiteral("--devices is a number from 1 to %1").arg(RigSubcommand::kMostDevices));
    return RigSubcommand::create(directory, count, m_log) ? ExitSuccess : ExitFailure;
}

int HostTool::plugDevice()
{
    return RigSubcommand::plug(m_arguments.at(0), m_arguments.at(1), m_log) ? ExitSuccess : ExitFailure;
}

int HostTool::unplugDevice()
{
    return RigSubcommand::unplug(m_arguments.at(0), m_arguments.at(1), m_log) ? ExitSuccess : ExitFailure;
}

int HostTool::checkRig()
{
    auto const directory =
        m_arguments.isEmpty() ? std::nullopt : std::make_optional(m_arguments.constFirst());
    auto const found = RigSubcommand::check(directory, m_log);
    return found ? print(found->toUtf8() + '\n') : ExitFailure;
}

int HostTool::reject(QString const& cause)
{
    m_log.logMessage(kErrorLevel, QStringLiteral("%1 (%2 --help shows the usage)")
                                      .arg(cause, QStringLiteral("vrelhost %1").arg(m_name).trimmed()));
    return ExitRejected;
}

int HostTool::print(QByteArray const& text, QString const& what)
{
    QString fault;
    auto const write = [&] {
        if (!writeWhole(m_output, text))
            fault = qt_error_string();
    };
    if (m_terminal)
        m_terminal->writeBetween(write); // which may be the same terminal
    else
        write();
    if (fault.isEmpty())
        return ExitSuccess;
    m_log.logMessage(kErrorLevel, QStringLiteral("Cannot write %1: %2").arg(what, fault));
    return ExitFailure;
}
