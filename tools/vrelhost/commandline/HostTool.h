#pragma once

#include "tools/vrelhost/commandline/Subcommand.h"
#include "tools/vrelhost/log/Console.h"

#include <QCommandLineParser>
#include <QStringList>

#include <cstdio>
#include <vector>

/** The command-line host: parses its arguments and carries out one subcommand. */
class HostTool
{
public:
    /** @param output takes results; log lines go to `log` */
    HostTool(std::vector<std::vector<Subcommand>> const& subcommands, std::FILE* output, std::FILE* log);

    /** @param arguments without the program's name; returns the exit code */
    int run(QStringList const& arguments);

private:
    using Meant = SubcommandTable::Meant;

    int carryOut(QStringList const& commandLine);
    QStringList positionalArguments(QStringList const& commandLine) const;
    void applyLogOptions();
    QString help(Meant const& meant) const;
    QString argumentFault(Meant const& meant, QStringList const& arguments, bool isParsed) const;

    SubcommandTable const m_subcommands;
    Console m_console;
    QCommandLineParser m_parser;
    QString m_name; ///< the subcommand's, or as much of it as is given
};
