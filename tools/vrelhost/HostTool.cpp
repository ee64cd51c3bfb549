#include "tools/vrelhost/HostTool.h"

#include "commands/VrelFlashUtils.h"
#include "framework/JsonText.h"
#include "framework/LogLineWriter.h"
#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLib.h"
#include "tools/common/ExitCode.h"
#include "tools/vrelhost/RequestReader.h"
#include "tools/vrelhost/RigCommand.h"
#include "tools/vrelhost/RunCommand.h"
#include "tools/vrelhost/RunOptions.h"
#include "tools/vrelhost/ScanCommand.h"
#include "tools/vrelhost/ScanReport.h"
#include "tools/vrelhost/TerminalLog.h"

#include <QCoreApplication>

#include <algorithm>
#include <iterator>

namespace {

constexpr Logger::LogLevel kDefaultLogLevel = 3;

QCommandLineOption const& logFormatOption()
{
    static QCommandLineOption const option(QStringLiteral("log-format"), QString(),
                                           QStringLiteral("text|json"), QStringLiteral("text"));
    return option;
}

QCommandLineOption const& logLevelOption()
{
    static QCommandLineOption const option(QStringLiteral("log-level"), QString(), QStringLiteral("N"),
                                           QStringLiteral("3"));
    return option;
}

/** The first argument that is neither an option nor the value of one of the tool's own. */
int subcommandPosition(QStringList const& arguments)
{
    int position = 0;
    while (position < arguments.size() && arguments.at(position).startsWith(QLatin1String("--"))) {
        QString const name = arguments.at(position).mid(2);
        bool const hasValue =
            logFormatOption().names().contains(name) || logLevelOption().names().contains(name);
        position += hasValue ? 2 : 1;
    }
    return position;
}

QList<QCommandLineOption> scanOptions()
{
    return {
        QCommandLineOption(QStringLiteral("sysfs"), QString(), QStringLiteral("DIR"),
                           QStringLiteral("/sys/bus/usb/devices")),
        QCommandLineOption(QStringLiteral("dev"), QString(), QStringLiteral("DIR"),
                           QStringLiteral("/dev/bus/usb")),
        QCommandLineOption(QStringLiteral("serial-from"), QString(), QStringLiteral("api|exe"),
                           QStringLiteral("api")),
        QCommandLineOption(QStringLiteral("exe"), QString(), QStringLiteral("PATH"),
                           QCoreApplication::applicationDirPath() + QStringLiteral("/ruxFwDownloader")),
        QCommandLineOption(QStringLiteral("json")),
    };
}

QList<QCommandLineOption> rigOptions()
{
    return {QCommandLineOption(QStringLiteral("devices"), QString(), QStringLiteral("N"))};
}

QList<QCommandLineOption> noOptions()
{
    return {};
}

} // namespace

struct HostTool::Subcommand
{
    char const* name;
    char const* arguments; ///< the positional arguments, separated by blanks
    QList<QCommandLineOption> (*options)();
    int (HostTool::*carryOut)();
    char const* synopsis;
    char const* help;
};

HostTool::Subcommand const HostTool::kSubcommands[] = {
    {"version", "", noOptions, &HostTool::showVersion, "version",
     "versions of library and vendor API, build date"},
    {"usages", "", noOptions, &HostTool::showUsages, "usages", "every command with its parameters"},
    {"types", "NAME", noOptions, &HostTool::showTypes, "types NAME", "parameter types of a command, as JSON"},
    {"parameters", "REQUEST", noOptions, &HostTool::showParameters, "parameters REQUEST",
     "parameters that a request holds, as JSON"},
    {"run", "REQUEST", RunOptions::definitions, &HostTool::runRequest,
     "run REQUEST [--sn SERIAL] [--exe PATH] [--timeout MS] [--dry-run]\n"
     "  run REQUEST [--all] [--sn SERIAL ...] [--path USB-PATH ...] [--jobs N] [--json]\n"
     "      [--exe PATH] [--timeout MS] [--dry-run]",
     "carries a request out: in-process, or with --exe by the downloader at PATH; in the second form on many "
     "devices,\n      N at a time, with a table of results"},
    {"scan", "", scanOptions, &HostTool::scanDevices,
     "scan [--sysfs DIR] [--dev DIR] [--serial-from api|exe] [--exe PATH] [--json]",
     "USB devices, those that the library serves with their serial numbers"},
    {"rig", "create DIR", rigOptions, &HostTool::createRig, "rig create DIR --devices N",
     "makes a rig with N emulated devices in a new or empty directory"},
};

HostTool::HostTool(std::FILE* output, std::FILE* log)
    : m_output(output)
    , m_logStream(log)
{
    m_log.setName(QStringLiteral("vrelhost"));
    setLog(LogFormat::Text, kDefaultLogLevel);
}

HostTool::~HostTool() = default;

int HostTool::run(QStringList arguments)
{
    int const position = subcommandPosition(arguments);
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        return print(help().toUtf8());
    }
    QString const name = position < arguments.size() ? arguments.takeAt(position) : QString();
    Subcommand const* const subcommand = findSubcommand(name);

    m_parser.addOption(logFormatOption());
    m_parser.addOption(logLevelOption());
    if (subcommand != nullptr)
        m_parser.addOptions(subcommand->options());
    bool const parsed = m_parser.parse(QStringList(QStringLiteral("vrelhost")) + arguments);
    if (!applyLogOptions())
        return ExitRejected;
    if (name.isEmpty() && parsed)
        return reject(QStringLiteral("No subcommand given"));
    if (subcommand == nullptr && !name.isEmpty())
        return reject(QStringLiteral("Unknown subcommand '%1'").arg(name));
    if (!parsed) {
        QString const cause = m_parser.errorText();
        return reject(cause.endsWith(QLatin1Char('.')) ? cause.chopped(1) : cause);
    }
    QStringList const expected =
        QString::fromLatin1(subcommand->arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QStringList const given = m_parser.positionalArguments();
    if (given.size() < expected.size())
        return reject(QStringLiteral("%1 needs the argument %2").arg(name, expected.at(given.size())));
    if (given.size() > expected.size())
        return reject(QStringLiteral("Unexpected argument '%1'").arg(given.at(expected.size())));
    return (this->*subcommand->carryOut)();
}

HostTool::Subcommand const* HostTool::findSubcommand(QString const& name)
{
    auto const* const found =
        std::find_if(std::begin(kSubcommands), std::end(kSubcommands),
                     [&name](Subcommand const& entry) { return name == QLatin1String(entry.name); });
    return found == std::end(kSubcommands) ? nullptr : found;
}

QString HostTool::help()
{
    QString text = QStringLiteral("vrelhost [--log-format text|json] [--log-level N] SUBCOMMAND ...\n");
    for (Subcommand const& entry : kSubcommands)
        text += QStringLiteral("\n  %1\n      %2\n")
                    .arg(QLatin1String(entry.synopsis), QLatin1String(entry.help));
    text +=
        QStringLiteral("\nREQUEST is the path of a JSON file, - for standard input, or the JSON text "
                       "itself.\nIts texts may hold {serial} and {path}, which stand for the device's.\n");
    return text;
}

bool HostTool::applyLogOptions()
{
    QString const format = m_parser.value(logFormatOption());
    QString const levelText = m_parser.value(logLevelOption());
    bool isNumber = false;
    int const level = levelText.toInt(&isNumber);
    bool const isJson = format == QLatin1String("json");
    if (!isJson && format != QLatin1String("text")) {
        reject(QStringLiteral("--log-format is text or json, not '%1'").arg(format));
        return false;
    }
    LogFormat const logFormat = isJson ? LogFormat::Json : LogFormat::Text;
    setLog(logFormat, kDefaultLogLevel);
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
    request.setValue(QStringLiteral("command"), m_parser.positionalArguments().constFirst());
    return print(toCompactJson(VrelFlashUtils::getParameterTypes(request)) + '\n');
}

int HostTool::showParameters()
{
    QString error;
    auto const request = readRequest(m_parser.positionalArguments().constFirst(), error);
    if (!request)
        return reject(QStringLiteral("Cannot read the request '%1': %2")
                          .arg(m_parser.positionalArguments().constFirst(), error));
    JsonObject const parameters = VrelFlashUtils::getParameters(*request, error);
    int const printed = print(toCompactJson(parameters) + '\n');
    if (error.isEmpty())
        return printed;
    m_log.logMessage(1, error);
    return ExitRejected;
}

int HostTool::runRequest()
{
    QString error;
    auto const options = RunOptions::read(m_parser, error);
    if (!options)
        return reject(error);
    auto const request = readRequest(m_parser.positionalArguments().constFirst(), error);
    if (!request)
        return reject(QStringLiteral("Cannot read the request '%1': %2")
                          .arg(m_parser.positionalArguments().constFirst(), error));
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
    QString const root = m_parser.value(QStringLiteral("sysfs"));
    QString const source = m_parser.value(QStringLiteral("serial-from"));
    bool const isFromApi = source == QLatin1String("api");
    if (root.isEmpty())
        return reject(QStringLiteral("--sysfs is the path of a directory, not empty"));
    if (!isFromApi && source != QLatin1String("exe"))
        return reject(QStringLiteral("--serial-from is api or exe, not '%1'").arg(source));
    ScanCommand const scan(root, m_parser.value(QStringLiteral("dev")),
                           isFromApi ? ScanCommand::SerialSource::Api : ScanCommand::SerialSource::Exe,
                           m_parser.value(QStringLiteral("exe")), m_log);
    showWork(true);
    auto const devices = scan.run();
    showWork(false);
    if (!devices)
        return ExitFailure;
    return print(m_parser.isSet(QStringLiteral("json")) ? ScanReport::toJson(*devices)
                                                        : ScanReport::toTable(*devices));
}

int HostTool::createRig()
{
    QString const action = m_parser.positionalArguments().at(0);
    QString const directory = m_parser.positionalArguments().at(1);
    bool isNumber = false;
    int const count = m_parser.value(QStringLiteral("devices")).toInt(&isNumber);
    if (action != QLatin1String("create"))
        return reject(QStringLiteral("A rig can be created, not '%1'").arg(action));
    if (directory.isEmpty())
        return reject(QStringLiteral("The rig's directory has a name that is not empty"));
    if (!isNumber || count < 1 || count > RigCommand::kMostDevices)
        return reject(QStringLiteral("--devices is a number from 1 to %1").arg(RigCommand::kMostDevices));
    return RigCommand::create(directory, count, m_log) ? ExitSuccess : ExitFailure;
}

int HostTool::reject(QString const& cause)
{
    m_log.logMessage(1, cause + QStringLiteral(" (vrelhost --help shows the usage)"));
    return ExitRejected;
}

int HostTool::print(QByteArray const& text)
{
    auto const size = static_cast<std::size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, m_output) == size && std::fflush(m_output) == 0)
        return ExitSuccess;
    m_log.logMessage(1, QStringLiteral("Cannot write the result: ") + qt_error_string());
    return ExitFailure;
}
