#pragma once

namespace VrelUtilsCommand {

/**
 * Hands the vendor API's messages on to a `LogHandler`.
 *
 * @param level the API's level: 1 trace, 2 progress, 3 warning, 4 error, 5 fatal; all others count as raw
 *        output
 * @param text NUL-terminated UTF-8; texts about single transfers on the wire are dropped
 * @param context the `LogHandler`; null drops the message, and so does one that throws
 */
void vrelLogCallback(unsigned long level, char const* text, void* context);

} // namespace VrelUtilsCommand
