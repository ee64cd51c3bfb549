#pragma once

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

#include <vector>

class Console;
class QCommandLineParser;

/** What a subcommand is called with, and where its results and lines go. */
struct Invocation
{
    QCommandLineParser const& options;
    QStringList const arguments; ///< the positional ones, without the subcommand's name
    Console const& console;
};

/** A subcommand's positional arguments. */
struct Arguments
{
    struct Meaning
    {
        char const* word;
        char const* text;
    };

    char const* usage = "";   ///< words; in brackets what may be left out, with ... what may come often
    Meaning meanings[3] = {}; ///< of as many words as are to be explained
};
constexpr Arguments kNoArguments = {};

/** What the tool can do, in one row: the parser, the help, man page and completion follow from it. */
struct Subcommand
{
    char const* name; ///< one word, or two for one of several actions
    Arguments arguments;
    QList<QCommandLineOption> (*options)(); ///< its own; null without any

    /** Returns the exit code. Throws Refusal, before anything is done, for arguments that make no sense. */
    int (*carryOut)(Invocation const& call);

    char const* purpose;
    char const* success; ///< what exit code 0 means
    char const* failure; ///< what exit code 1 means
    char const* example;

    QStringList nameWords() const;
    QStringList argumentWords() const;
    QList<QCommandLineOption> ownOptions() const;

    /** Why these cannot be its arguments; empty when they can. */
    QString argumentFault(QStringList const& given) const;

    /** All about it. */
    QString help() const;
};

/** All that a tool has, in the order of its help. */
class SubcommandTable
{
public:
    using Meant = std::vector<Subcommand const*>;

    /** @param groups one behind the other */
    explicit SubcommandTable(std::vector<std::vector<Subcommand>> const& groups);

    /** Those whose names positional arguments begin with, or are the beginning of. */
    Meant meantBy(QStringList const& given) const;

    /** The options that all subcommands have. */
    static QList<QCommandLineOption> commonOptions();

    /** The options that any subcommand has, each name once. */
    QList<QCommandLineOption> allOptions() const;

    /** All subcommands, in a line or two each. */
    QString overview() const;

private:
    std::vector<Subcommand> m_rows;
};
