#pragma once

#include <QString>

/** The program that a command line names: with a slash a path, otherwise as PATH has it, or itself if not. */
QString findProgram(QString const& name);

/** Why a program, as findProgram yields it, cannot be run, as the end of a sentence; empty when it can. */
QString executableFault(QString const& program);
