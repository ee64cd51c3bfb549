#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace VrelRig {

/** @return the bytes written as pairs of hexadecimal digits; white space may stand anywhere between bytes */
std::optional<std::string> parseHex(std::string_view text);

/** @return the bytes as pairs of upper-case digits separated by blanks */
std::string formatHex(std::string_view bytes);

/** @return the content of a register file: formatHex in lines of sixteen bytes */
std::string formatHexLines(std::string_view bytes);

} // namespace VrelRig
