#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VrelRig {

/** @return the unsigned number written in decimal or, after "0x", in hexadecimal; nothing for other texts */
std::optional<std::uint64_t> parseNumber(std::string_view text);

/** @return the number as "0x" and at least `digits` upper-case hexadecimal digits */
std::string hexNumber(std::uint64_t number, int digits);

} // namespace VrelRig
