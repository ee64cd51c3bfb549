#pragma once

#include "tools/vrelhost/commandline/HostTool.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

/** What the tool can do, as its table has it: the parser, the help, man page and completion follow from it.
 */
struct HostTool::Subcommand
{
    char const* name;      ///< one word, or two for one of several actions
    char const* arguments; ///< the positional ones, separated by blanks; brackets around what may be left out
    QList<QCommandLineOption> (*options)();
    int (HostTool::*carryOut)();
    char const* purpose;
    char const* success; ///< what exit code 0 means
    char const* failure; ///< what exit code 1 means
    char const* example;

    QStringList nameWords() const;
    QStringList argumentWords() const;

    /** All about it. */
    QString help() const;

    /** Those whose names positional arguments begin with, or are the beginning of. */
    static Subcommands meantBy(QStringList const& given);

    /** The options that all subcommands have. */
    static QList<QCommandLineOption> commonOptions();

    /** The options that any subcommand has, each name once. */
    static QList<QCommandLineOption> allOptions();

    /** All subcommands, in a line or two each. */
    static QString overview();
};
