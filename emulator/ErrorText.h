#pragma once

#include <string_view>

namespace VrelRig {

/**
 * Copies a text into a caller's error buffer of kVrelErrorTextSize bytes, NUL-terminated. A text that is too
 * long is cut at the boundary of a UTF-8 character. A null buffer is left alone.
 */
void copyErrorText(std::string_view text, char* buffer);

} // namespace VrelRig
