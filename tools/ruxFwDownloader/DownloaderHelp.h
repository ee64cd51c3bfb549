#pragma once

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

/** What --help, -h and --version show, where the arguments ask for it; null where they do not. */
QString answerAboutTheProgram(QStringList const& arguments);

/** The options that may follow "getSerial". */
QList<QCommandLineOption> serialQueryOptions();
