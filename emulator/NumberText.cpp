#include "emulator/NumberText.h"

#include <charconv>
#include <cstdio>

namespace VrelRig {

std::optional<std::uint64_t> parseNumber(std::string_view text)
{
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t number = 0;
    auto const* const end = text.data() + text.size();
    auto const parsed = std::from_chars(text.data(), end, number, base);
    if (parsed.ec != std::errc() || parsed.ptr != end)
        return std::nullopt;
    return number;
}

std::string hexNumber(std::uint64_t number, int digits)
{
    char text[24];
    static_cast<void>(
        std::snprintf(text, sizeof(text), "0x%0*llX", digits, static_cast<unsigned long long>(number)));
    return text;
}

} // namespace VrelRig
