#pragma once

#include "tools/vrelview/HttpMessage.h"

#include <QString>

#include <optional>

/**
 * Log files that a ledger names. By the time that they are asked for, anything may have taken their places:
 * what is not a regular file, or not named as log files are, is not opened, and nothing waits for one.
 */
namespace LogFiles {

/**
 * The file as text.
 * @param tail only so many bytes from its end, if it is longer; all without one
 */
HttpAnswer answer(QString const& name, std::optional<qint64> tail);

/** The text of its last whole line; null without one. */
QString lastLine(QString const& name);

/** -1 when it is not there. */
qint64 sizeOf(QString const& name);

} // namespace LogFiles
