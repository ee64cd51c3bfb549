#pragma once

#include <QString>

#include <cstddef>

namespace VrelUtilsCommand {

/**
 * Reads up to `size` bytes of a file from `offset` on, and no more than that.
 * @return the bytes read; 0 when the file cannot be opened, is no file that can be read at an offset, or ends
 *         before it
 */
std::size_t readFileBytes(QString const& path, long offset, unsigned char* bytes, std::size_t size);

} // namespace VrelUtilsCommand
