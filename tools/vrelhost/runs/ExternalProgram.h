#pragma once

#include <QProcessEnvironment>
#include <QStringList>

class LogHandler;

/** A program that a recipe runs, which has no shell, an empty standard input and a process group of its own.
 */
namespace ExternalProgram {

/**
 * Runs it to its end, after which nothing is left of its group. Standard output is logged at level 3,
 * standard error at level 2, line by line; why it failed at level 1, without its arguments.
 * @param words the program, looked up in PATH, and its arguments
 * @param seconds after which the group is killed
 * @return whether it ended by itself with exit code 0
 */
bool run(QStringList const& words, int seconds, QProcessEnvironment const& environment, LogHandler& log);

} // namespace ExternalProgram
