#pragma once

#include <QCommandLineOption>
#include <QString>

class QCommandLineParser;

/** @param value what its value is called; without it there is none */
QCommandLineOption option(QLatin1String name, char const* help, char const* value = "",
                          QString const& usual = {});

/**
 * What --help shows: how to call, the parser's description, its options and arguments one by one, and what
 * else there is to tell, in sections of a title and indented lines.
 */
QString helpText(QString const& usage, QCommandLineParser const& parser, QString const& sections);

/** What the parser found wrong with a command line, as a cause to be gone on with. */
QString parserFault(QCommandLineParser const& parser);

/** The program that a command line names: with a slash a path, otherwise as PATH has it, or itself if not. */
QString findProgram(QString const& name);

/** Why a program, as findProgram yields it, cannot be run, as the end of a sentence; empty when it can. */
QString executableFault(QString const& program);
