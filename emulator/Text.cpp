#include "emulator/Text.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <charconv>

namespace VrelRig {

std::string inQuotes(std::string const& text)
{
    return "'" + text + "'";
}

void failTo(std::string const& action, std::string const& path, std::string const& reason)
{
    throw RigError("Cannot " + action + ' ' + inQuotes(path) + ": " + reason);
}

std::optional<std::string> parseHex(std::string const& text)
{
    QByteArray digits;
    for (auto const& line : QByteArray::fromStdString(text).split('\n'))
        digits += line.split('#').constFirst() + '\n';
    std::string bytes;
    for (auto const& word : digits.simplified().split(' ')) {
        auto const part = QByteArray::fromHex(word);
        if (part.toHex() != word.toLower()) // fromHex skips what is no digit
            return std::nullopt;
        bytes += part.toStdString();
    }
    return bytes;
}

std::string formatHex(std::string_view bytes)
{
    return QByteArray(bytes.data(), static_cast<int>(bytes.size())).toHex(' ').toUpper().toStdString();
}

std::optional<std::uint64_t> parseNumber(std::string_view text)
{
    bool const isHex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (isHex)
        text.remove_prefix(2);
    std::uint64_t number = 0;
    auto const* const end = text.data() + text.size();
    auto const parsed = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != end)
        return std::nullopt;
    return number;
}

std::string hexNumber(std::uint32_t number, int digits)
{
    return "0x" + QStringLiteral("%1").arg(number, digits, 16, QLatin1Char('0')).toUpper().toStdString();
}

} // namespace VrelRig
