#pragma once

#include <QString>

/** Why a path cannot be run, as the end of a sentence; empty when it can. */
QString executableFault(QString const& path);
