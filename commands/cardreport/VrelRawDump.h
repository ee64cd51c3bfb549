#pragma once

#include <QString>

namespace VrelUtilsCommand {

/**
 * Renders bytes as lower-case hexadecimal text, two digits and `separator` a byte.
 *
 * @param length bytes at `data`; 0 gives an empty text
 * @param reverse the last byte first
 * @param withOffsets begins every line with its offset, for example "0x00000010: "; needs a `bytesPerLine`
 * @param bytesPerLine bytes after which a line ends; 0 or less never breaks lines. Lines are counted from the
 * first byte in both directions, and there is no line end after the last.
 * @param separator written byte by byte of its UTF-8 form
 * @param out replaced; may be `separator` itself. Empty when the dump is longer than a text can be (some 10^9
 * characters)
 */
void rawDump(unsigned char const* data, unsigned int length, bool reverse, bool withOffsets, int bytesPerLine,
             QString const& separator, QString& out);

} // namespace VrelUtilsCommand
