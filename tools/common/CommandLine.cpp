#include "tools/common/CommandLine.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QStandardPaths>

QCommandLineOption option(QLatin1String name, char const* help, char const* value, QString const& usual)
{
    return {name, QLatin1String(help), QLatin1String(value), usual};
}

QString helpText(QString const& usage, QCommandLineParser const& parser, QString const& sections)
{
    QString const text = parser.helpText(); // its first line tells less of how to call
    return QStringLiteral("Usage: ") + usage + text.mid(text.indexOf(QLatin1Char('\n'))) + QLatin1Char('\n') +
           sections;
}

QString parserFault(QCommandLineParser const& parser)
{
    QString const text = parser.errorText();
    return text.endsWith(QLatin1Char('.')) ? text.chopped(1) : text;
}

QString findProgram(QString const& name)
{
    if (name.contains(QLatin1Char('/')))
        return name;
    QString const found = QStandardPaths::findExecutable(name);
    return found.isEmpty() ? name : found;
}

QString executableFault(QString const& program)
{
    QFileInfo const info(program);
    if (!program.contains(QLatin1Char('/')))
        return QStringLiteral("it is not found in PATH");
    if (!info.exists())
        return QStringLiteral("it does not exist");
    if (!info.isFile())
        return QStringLiteral("it is not a file");
    if (!info.isExecutable())
        return QStringLiteral("it is not executable");
    return QString();
}
