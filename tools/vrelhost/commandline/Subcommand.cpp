#include "tools/vrelhost/commandline/Subcommand.h"

#include "framework/LogSink.h"
#include "tools/common/CommandLine.h"

#include <QCommandLineParser>
#include <QSet>

#include <algorithm>

namespace {

QCommandLineOption helpOption(char const* meaning)
{
    return {{QStringLiteral("h"), QStringLiteral("help")}, QLatin1String(meaning)};
}

QStringList words(char const* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

QStringList Subcommand::nameWords() const
{
    return words(name);
}

QStringList Subcommand::argumentWords() const
{
    return words(arguments.usage);
}

QList<QCommandLineOption> Subcommand::ownOptions() const
{
    return options == nullptr ? QList<QCommandLineOption>() : options();
}

QString Subcommand::argumentFault(QStringList const& given) const
{
    QStringList const expected = argumentWords();
    bool const isOpen = !expected.isEmpty() && expected.constLast().endsWith(QLatin1String("..."));
    if (given.size() > expected.size() && !isOpen)
        return QStringLiteral("Unexpected argument '%1'").arg(given.at(expected.size()));
    if (given.size() < expected.size() && !expected.at(given.size()).startsWith(QLatin1Char('[')))
        return QStringLiteral("%1 needs the argument %2").arg(QLatin1String(name), expected.at(given.size()));
    return QString();
}

QString Subcommand::help() const
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QLatin1String(purpose));
    parser.addOptions(ownOptions());
    parser.addOption(helpOption("Show this help."));
    for (auto const& [word, text] : arguments.meanings) {
        if (word != nullptr)
            parser.addPositionalArgument(QLatin1String(word), QLatin1String(text));
    }
    return helpText(QStringLiteral("vrelhost [options] ") +
                        (nameWords() + argumentWords()).join(QLatin1Char(' ')),
                    parser,
                    QStringLiteral("Exit code:\n"
                                   "  0  %1\n"
                                   "  1  %2\n"
                                   "  2  the arguments or the request were rejected; nothing was run\n\n"
                                   "Example:\n"
                                   "  $ %3\n\n"
                                   "vrelhost --help lists the options that all subcommands have.\n")
                        .arg(QLatin1String(success), QLatin1String(failure), QLatin1String(example)));
}

SubcommandTable::SubcommandTable(std::vector<std::vector<Subcommand>> const& groups)
{
    for (std::vector<Subcommand> const& group : groups)
        m_rows.insert(m_rows.end(), group.begin(), group.end());
}

SubcommandTable::Meant SubcommandTable::meantBy(QStringList const& given) const
{
    Meant meant;
    for (Subcommand const& entry : m_rows) {
        QStringList const name = entry.nameWords();
        int const common = std::min(name.size(), given.size());
        if (common > 0 && name.mid(0, common) == given.mid(0, common))
            meant.push_back(&entry);
    }
    return meant;
}

QList<QCommandLineOption> SubcommandTable::allOptions() const
{
    QList<QCommandLineOption> list = commonOptions();
    for (Subcommand const& entry : m_rows)
        list += entry.ownOptions();
    QList<QCommandLineOption> result;
    QSet<QString> names;
    for (QCommandLineOption const& option : list) {
        QString const name = option.names().constLast();
        if (!names.contains(name))
            result << option;
        names << name;
    }
    return result;
}

QList<QCommandLineOption> SubcommandTable::commonOptions()
{
    return {
        option(QLatin1String("log-format"),
               "Write log lines to standard error as text (default), or as one JSON object per line.",
               "text|json", QStringLiteral("text")),
        option(QLatin1String("log-level"),
               "Leave out log lines above this level: 1 errors, 2 warnings, 3 progress and results (the "
               "default), 4 what is being run, 5 raw output. Level 0 is always shown.",
               "N", QString::number(kProgressLevel)),
        helpOption("Show this help, or that of a subcommand."),
        option(QLatin1String("version"), "Print versions and exit."),
    };
}

QString SubcommandTable::overview() const
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Scans for devices in RuX recovery mode and runs requests on them."));
    parser.addOptions(commonOptions());
    for (Subcommand const& entry : m_rows)
        parser.addPositionalArgument((entry.nameWords() + entry.argumentWords()).join(QLatin1Char(' ')),
                                     QLatin1String(entry.purpose));
    return helpText(QStringLiteral("vrelhost [options] SUBCOMMAND ..."), parser,
                    QStringLiteral(
                        "vrelhost SUBCOMMAND --help lists its options and exit codes, with an example.\n"))
        .replace(QLatin1String("\nArguments:\n"), QLatin1String("\nSubcommands:\n"));
}
