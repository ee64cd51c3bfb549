#pragma once

#include "external/JsonObject.h"

#include <QStringList>

/** The library's commands, as it tells of them. */
namespace CommandList {

/** Sorted. */
QStringList names();

/** The types of a command's parameters; empty without any, and for an unknown command. */
JsonObject types(QString const& command);

} // namespace CommandList
