#pragma once

#include <QString>

#include <cstddef>

namespace VrelUtilsCommand {

/**
 * Reads up to `size` bytes of a file from `offset` on, and no more than that.
 *
 * A pipe (standard input, a process substitution) keeps what is read, so that the vendor library, or the run
 * on the next device, finds it all: there, `offset` and `size` together are at most some kilobytes. A writer
 * that pauses or has not come yet is waited for, for 5 s at most; a pipe that nobody writes is empty.
 * @return the bytes read; 0 when the file cannot be opened, cannot be read at an offset, or ends before it
 */
std::size_t readFileBytes(QString const& path, std::size_t offset, unsigned char* bytes, std::size_t size);

} // namespace VrelUtilsCommand
