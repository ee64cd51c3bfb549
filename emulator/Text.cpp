#include "emulator/Text.h"

#include <QByteArray>
#include <QList>

#include <charconv>

namespace VrelRig {

std::string inQuotes(std::string const& text)
{
    return "'" + text + "'";
}

void failTo(std::string const& action, std::string const& path, std::string const& reason, int code)
{
    throw RigError("Cannot " + action + ' ' + inQuotes(path) + ": " + reason, code);
}

std::optional<std::string> parseHex(std::string const& text)
{
    QByteArray bytes;
    for (auto const& line : QByteArray::fromStdString(text).split('\n')) {
        for (auto const& word : line.split('#').constFirst().simplified().split(' ')) {
            bytes += QByteArray::fromHex(word);
            if (QByteArray::fromHex(word).toHex() != word.toLower()) // fromHex skips what is no digit
                return std::nullopt;
        }
    }
    return bytes.toStdString();
}

QString formatHex(std::string const& bytes)
{
    return QString::fromLatin1(QByteArray::fromStdString(bytes).toHex(' ').toUpper());
}

QString hexNumber(std::uint32_t number, int digits)
{
    return "0x" + QString::number(number, 16).rightJustified(digits, '0').toUpper();
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

} // namespace VrelRig
