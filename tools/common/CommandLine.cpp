#include "tools/common/CommandLine.h"

#include <QCommandLineParser>

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
