#pragma once

#include "external/LogHandler.h"

#include <QCommandLineParser>
#include <QStringList>

#include <cstdio>
#include <memory>
#include <vector>

class TerminalLog;
enum class LogFormat;
struct RunOptions;
struct RunSetting;

/** The command-line host: parses its arguments and carries out one subcommand. */
class HostTool
{
public:
    /** @param output takes results; log lines go to `log` */
    HostTool(std::FILE* output, std::FILE* log);
    ~HostTool();

    HostTool(HostTool const&) = delete;
    HostTool& operator=(HostTool const&) = delete;

    /** @param arguments without the program's name; returns the exit code */
    int run(QStringList const& arguments);

private:
    struct Subcommand;
    using Subcommands = std::vector<Subcommand const*>;
    static Subcommand const kSubcommands[];

    static QStringList positionalArguments(QStringList const& commandLine);
    static QString help(Subcommands const& meant);
    QString argumentFault(Subcommands const& meant, bool isParsed) const;

    bool applyLogOptions();
    void setLog(LogFormat format, Logger::LogLevel maxLevel);
    void showWork(bool isShown);
    int showVersion();
    int showUsages();
    int showTypes();
    int showParameters();
    int runRequest();
    int serveStation();
    int scanDevices();
    int createRig();
    int plugDevice();
    int unplugDevice();
    int checkRig();

    /** Carries a request or recipe out. @param usual as for RunOptions::read, but for isMany */
    int carryOut(RunOptions usual, int (*work)(RunSetting&));
    /** Logs what the tool itself has to say and yields the exit code for a rejection. */
    int reject(QString const& cause);
    /** Writes a result; yields the exit code. @param what it is, for people */
    int print(QByteArray const& text, QString const& what = QStringLiteral("the result"));

    std::FILE* m_output;
    std::FILE* m_logStream;
    std::shared_ptr<TerminalLog>
        m_terminal; ///< shared with the sink; null when the log is no text on a terminal
    LogHandler& m_log;
    QCommandLineParser m_parser;
    QString m_name;          ///< the subcommand's, or as much of it as is given
    QStringList m_arguments; ///< the positional ones, without the subcommand's name once it is known
};
