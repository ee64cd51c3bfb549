#include "emulator/HexText.h"

namespace VrelRig {

namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr std::string_view kWhiteSpace = " \t\r\n";

std::optional<unsigned> digitValue(char digit)
{
    if (digit >= 'a' && digit <= 'f')
        digit = static_cast<char>(digit - 'a' + 'A');
    auto const value = kDigits.find(digit);
    if (value == std::string_view::npos)
        return std::nullopt;
    return static_cast<unsigned>(value);
}

} // namespace

std::optional<std::string> parseHex(std::string_view text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kWhiteSpace.find(text[i]) != std::string_view::npos)
            continue;
        auto const high = digitValue(text[i]);
        auto const low = ++i < text.size() ? digitValue(text[i]) : std::nullopt;
        if (!high || !low)
            return std::nullopt;
        bytes.push_back(static_cast<char>(*high << 4U | *low));
    }
    return bytes;
}

std::string formatHex(std::string_view bytes)
{
    std::string text;
    for (char const byte : bytes) {
        auto const value = static_cast<unsigned char>(byte);
        if (!text.empty())
            text += ' ';
        text += kDigits[value >> 4U];
        text += kDigits[value & 0xFU];
    }
    return text;
}

std::string formatHexLines(std::string_view bytes)
{
    constexpr std::size_t kBytesPerLine = 16;
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += kBytesPerLine)
        text += formatHex(bytes.substr(start, kBytesPerLine)) + '\n';
    return text;
}

} // namespace VrelRig
