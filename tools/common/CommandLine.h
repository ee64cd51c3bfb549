#pragma once

#include <QString>

class QCommandLineParser;

/**
 * What --help shows: how to call, the parser's description, its options and arguments one by one, and what
 * else there is to tell, in sections of a title and indented lines.
 */
QString helpText(QString const& usage, QCommandLineParser const& parser, QString const& sections);

/** What the parser found wrong with a command line, as a cause to be gone on with. */
QString parserFault(QCommandLineParser const& parser);
