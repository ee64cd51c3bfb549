#pragma once

#include <QString>

#include <cstddef>

namespace VrelUtilsCommand {

/**
 * Reads up to `size` bytes of a file from `offset` on, and no more than that.
 * @return the bytes read; 0 when the file ends before `offset`, cannot be opened or is not a regular one: a
 * pipe is left to the vendor library
 */
std::size_t readFileBytes(QString const& path, std::size_t offset, unsigned char* bytes, std::size_t size);

/**
 * Reads the first `size` bytes of a file or a pipe; what it does not give stays as it was. Somebody who has
 * opened a pipe for writing is waited for, however long they pause.
 * @return false when nobody has opened a pipe for writing within 5 s
 */
bool readFirstBytes(QString const& path, unsigned char* bytes, std::size_t size);

} // namespace VrelUtilsCommand
