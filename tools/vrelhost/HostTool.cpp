#include "tools/vrelhost/HostTool.h"

#include "commands/VrelFlashUtils.h"
#include "framework/JsonText.h"
#include "framework/LogLineWriter.h"
#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tools/common/CommandLine.h"
#include "tools/common/ExitCode.h"
#include "tools/vrelhost/RequestReader.h"
#include "tools/vrelhost/RigCommand.h"
#include "tools/vrelhost/RunCommand.h"
#include "tools/vrelhost/RunOptions.h"
#include "tools/vrelhost/ScanCommand.h"
#include "tools/vrelhost/ScanOptions.h"
#include "tools/vrelhost/ScanReport.h"
#include "tools/vrelhost/TerminalLog.h"

#include <QSet>

#include <algorithm>

namespace {

QString const kLogFormat = QStringLiteral("log-format");
QString const kLogLevel = QStringLiteral("log-level");
QString const kHelp = QStringLiteral("help");
QString const kVersion = QStringLiteral("version");
QString const kDevices = QStringLiteral("devices");

QList<QCommandLineOption> commonOptions()
{
    return {
        {kLogFormat,
         QStringLiteral(
             "Write log lines to standard error for a person (the default), or as one JSON object a "
             "line."),
         QStringLiteral("text|json"), QStringLiteral("text")},
        {kLogLevel,
         QStringLiteral(
             "Leave out log lines above this level: 1 errors, 2 warnings, 3 progress and results (the "
             "default), 4 what is being run, 5 raw output. Level 0 is always shown."),
         QStringLiteral("N"), QString::number(kProgressLevel)},
        {{QStringLiteral("h"), kHelp}, QStringLiteral("Show this help; with a subcommand, that of its own.")},
        {kVersion, QStringLiteral("Show what the subcommand version shows.")},
    };
}

QList<QCommandLineOption> rigOptions()
{
    return {{kDevices, QStringLiteral("So many devices, from 1 to 1000."), QStringLiteral("N")}};
}

QList<QCommandLineOption> noOptions()
{
    return {};
}

/** What stands for the positional arguments in the table of subcommands. */
constexpr std::pair<char const*, char const*> kArguments[] = {
    {"NAME", "A command, as vrelhost usages tells them."},
    {"REQUEST",
     "The path of a JSON file, - for standard input, or the JSON text itself, which begins with {. Its "
     "key \"command\" names a command, its other keys are that command's parameters. Its other texts "
     "may hold {serial} and {path}, which stand for the device's; {{serial}} and {{path}} are these "
     "words themselves."},
    {"DIR", "The rig's directory."},
};

QStringList words(char const* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

constexpr char const* kShown = "  0  success\n"
                               "  1  the result cannot be written\n"
                               "  2  the arguments were rejected\n";

} // namespace

struct HostTool::Subcommand
{
    char const* name; ///< one word, or two for one of several actions
    char const*
        arguments; ///< the positional ones, separated by blanks; in brackets when they may be left out
    QList<QCommandLineOption> (*options)();
    int (HostTool::*carryOut)();
    char const* purpose;
    char const* exitCodes;
    char const* example;

    QString call() const { return (words(name) + words(arguments)).join(QLatin1Char(' ')); }

    /** Whether positional arguments begin with its name, or are the beginning of it. */
    bool isMeant(QStringList const& given) const
    {
        QStringList const own = words(name);
        return !given.isEmpty() &&
               std::equal(own.begin(), own.begin() + std::min(own.size(), given.size()), given.begin());
    }

    QString help() const
    {
        QCommandLineParser parser;
        parser.setApplicationDescription(QLatin1String(purpose));
        parser.addOptions(options());
        for (auto const& [argument, meaning] : kArguments) {
            if (call().contains(QLatin1String(argument)))
                parser.addPositionalArgument(QLatin1String(argument), QLatin1String(meaning));
        }
        return helpText(QStringLiteral("vrelhost [options] ") + call(), parser,
                        QStringLiteral("Exit code:\n%1\nExample:\n  %2\n\n"
                                       "vrelhost --help tells of the options that all subcommands have.\n")
                            .arg(QLatin1String(exitCodes), QLatin1String(example)));
    }
};

HostTool::Subcommand const HostTool::kSubcommands[] = {
    {"version", "", noOptions, &HostTool::showVersion,
     "Shows the versions of library and vendor API, and the date of the build.", kShown, "vrelhost version"},
    {"usages", "", noOptions, &HostTool::showUsages, "Shows every command with its parameters.", kShown,
     "vrelhost usages"},
    {"types", "NAME", noOptions, &HostTool::showTypes,
     "Shows the parameter types of a command as one line of JSON.", kShown, "vrelhost types erasetoken"},
    {"parameters", "REQUEST", noOptions, &HostTool::showParameters,
     "Shows the parameters that a request holds as one line of JSON.",
     "  0  success\n"
     "  1  the result cannot be written\n"
     "  2  the arguments or the request were rejected\n",
     "vrelhost parameters request.json"},
    {"run", "REQUEST", RunOptions::definitions, &HostTool::runRequest,
     "Carries a request out on one device or many, in-process or by a downloader.",
     "  0  success, on many devices on every one\n"
     "  1  failure, on many devices on one or more, also for lack of a vendor API or a\n"
     "     device, by an interruption, or since the result cannot be written\n"
     "  2  the arguments or the request were rejected; nothing was run\n",
     R"(vrelhost run '{"command": "erasetoken", "fw_rux": "module.bin", "slot": 1}')"},
    {"scan", "", ScanOptions::definitions, &HostTool::scanDevices,
     "Lists the USB devices, those that the library serves with serial numbers.",
     "  0  success, also without devices or serial numbers\n"
     "  1  the USB devices cannot be read, or the result cannot be written\n"
     "  2  the arguments were rejected\n",
     "vrelhost scan --json"},
    {"rig create", "DIR", rigOptions, &HostTool::createRig,
     "Makes a rig of emulated devices in a new or empty directory.",
     "  0  success\n"
     "  1  it cannot be made\n"
     "  2  the arguments were rejected\n",
     "vrelhost rig create bench --devices 24"},
};

HostTool::HostTool(std::FILE* output, std::FILE* log)
    : m_output(output)
    , m_logStream(log)
{
    m_log.setName(QStringLiteral("vrelhost"));
    setLog(LogFormat::Text, kProgressLevel);
}

HostTool::~HostTool() = default;

int HostTool::run(QStringList const& arguments)
{
    QStringList const commandLine = QStringList(QStringLiteral("vrelhost")) + arguments;
    m_arguments = positionalArguments(commandLine);
    Subcommands meant;
    for (Subcommand const& entry : kSubcommands) {
        if (entry.isMeant(m_arguments))
            meant.push_back(&entry);
    }
    m_parser.addOptions(commonOptions());
    if (meant.size() == 1)
        m_parser.addOptions(meant.front()->options());
    if (!meant.empty())
        m_name = words(meant.front()->name).mid(0, meant.size() > 1 ? 1 : 2).join(QLatin1Char(' '));
    bool const isParsed = m_parser.parse(commandLine);
    if (!applyLogOptions())
        return ExitRejected;
    if (m_parser.isSet(kHelp))
        return print(help(meant).toUtf8());
    if (m_parser.isSet(kVersion))
        return showVersion();
    QString const fault = argumentFault(meant, isParsed);
    if (!fault.isEmpty())
        return reject(fault);
    m_arguments = m_arguments.mid(words(meant.front()->name).size());
    return (this->*meant.front()->carryOut)();
}

/** What is neither an option of any subcommand nor the value of one, wherever it stands. */
QStringList HostTool::positionalArguments(QStringList const& commandLine)
{
    QCommandLineParser parser;
    QSet<QString> names;
    QList<QCommandLineOption> options = commonOptions();
    for (Subcommand const& entry : kSubcommands)
        options += entry.options();
    for (QCommandLineOption const& option : options) {
        QString const name = option.names().constLast();
        if (!names.contains(name))
            parser.addOption(option);
        names.insert(name);
    }
    parser.parse(commandLine);
    return parser.positionalArguments();
}

/** What is wrong with the command line; empty when nothing is. */
QString HostTool::argumentFault(Subcommands const& meant, bool isParsed) const
{
    if (m_arguments.isEmpty())
        return isParsed ? QStringLiteral("No subcommand given") : parserFault(m_parser);
    if (meant.empty())
        return QStringLiteral("Unknown subcommand '%1'").arg(m_arguments.join(QLatin1Char(' ')));
    QStringList const name = words(meant.front()->name);
    if (meant.size() > 1 || m_arguments.size() < name.size())
        return QStringLiteral("The subcommand '%1' is not complete").arg(m_name);
    if (!isParsed)
        return parserFault(m_parser);
    QStringList const expected = words(meant.front()->arguments);
    QStringList const given = m_arguments.mid(name.size());
    if (given.size() > expected.size())
        return QStringLiteral("Unexpected argument '%1'").arg(given.at(expected.size()));
    if (given.size() < expected.size() && !expected.at(given.size()).startsWith(QLatin1Char('[')))
        return QStringLiteral("%1 needs the argument %2").arg(m_name, expected.at(given.size()));
    return QString();
}

/** Of the subcommands that are meant, or an overview when none is. */
QString HostTool::help(Subcommands const& meant)
{
    QStringList pages;
    for (Subcommand const* const entry : meant)
        pages << entry->help();
    if (!pages.isEmpty())
        return pages.join(QLatin1Char('\n'));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Scans for devices in RuX recovery mode and runs requests on them."));
    parser.addOptions(commonOptions());
    for (Subcommand const& entry : kSubcommands)
        parser.addPositionalArgument(entry.call(), QLatin1String(entry.purpose));
    return helpText(QStringLiteral("vrelhost [options] SUBCOMMAND ..."), parser,
                    QStringLiteral(
                        "vrelhost SUBCOMMAND --help tells of its options, exit codes, and an example.\n"))
        .replace(QLatin1String("\nArguments:\n"), QLatin1String("\nSubcommands:\n"));
}

bool HostTool::applyLogOptions()
{
    QString const format = m_parser.value(kLogFormat);
    QString const levelText = m_parser.value(kLogLevel);
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
    QString error;
    auto const options = RunOptions::read(m_parser, error);
    if (!options)
        return reject(error);
    for (QString const& line : options->idle)
        m_log.logMessage(kWarningLevel, line);
    auto const request = readRequest(m_arguments.constFirst(), error);
    if (!request)
        return reject(error);
    showWork(true);
    auto const showProgress = [this](int done, int total) {
        if (m_terminal)
            m_terminal->showProgress(done, total);
    };
    RunCommand command(*options, *request, m_log, showProgress);
    RunCommand::Result const result = command.run();
    showWork(false);
    if (!result.output.isEmpty() && print(result.output) != ExitSuccess)
        return ExitFailure;
    return result.exitCode;
}

int HostTool::scanDevices()
{
    QString error;
    auto const options = ScanOptions::read(m_parser, m_log, error);
    if (!options)
        return reject(error);
    ScanCommand const scan(options->root, options->nodes, options->source, options->exe, m_log);
    showWork(true);
    auto const devices = scan.run();
    showWork(false);
    if (!devices)
        return ExitFailure;
    return print(options->isJson ? ScanReport::toJson(*devices) : ScanReport::toTable(*devices));
}

int HostTool::createRig()
{
    QString const directory = m_arguments.constFirst();
    bool isNumber = false;
    int const count = m_parser.value(kDevices).toInt(&isNumber);
    if (directory.isEmpty())
        return reject(QStringLiteral("The rig's directory has a name that is not empty"));
    if (!isNumber || count < 1 || count > RigCommand::kMostDevices)
        return reject(QStringLiteral("--devices is a number from 1 to %1").arg(RigCommand::kMostDevices));
    return RigCommand::create(directory, count, m_log) ? ExitSuccess : ExitFailure;
}

int HostTool::reject(QString const& cause)
{
    m_log.logMessage(kErrorLevel, QStringLiteral("%1 (%2 --help shows the usage)")
                                      .arg(cause, QStringLiteral("vrelhost %1").arg(m_name).trimmed()));
    return ExitRejected;
}

int HostTool::print(QByteArray const& text)
{
    auto const size = static_cast<std::size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, m_output) == size && std::fflush(m_output) == 0)
        return ExitSuccess;
    m_log.logMessage(kErrorLevel, QStringLiteral("Cannot write the result: ") + qt_error_string());
    return ExitFailure;
}
