#pragma once

#include <QString>

#include <cstdint>

namespace VrelUtilsCommand {

/** How a field's number is shown. */
enum class CardFieldFormat
{
    Decimal,
    Hexadecimal ///< "0x" and the digits without leading zeros
};

constexpr auto kDecimal = CardFieldFormat::Decimal;
constexpr auto kHexadecimal = CardFieldFormat::Hexadecimal;

/** A little-endian number in a register or descriptor. */
struct CardField
{
    char const* name;
    unsigned int offset; ///< bytes from the start of its block
    unsigned int width;  ///< bytes, 1 to 8
    CardFieldFormat format;
};

/** The field's number in the block at `block`. */
std::uint64_t fieldNumber(CardField const& field, unsigned char const* block);

/** The number as the field shows it. */
QString fieldText(CardField const& field, unsigned char const* block);

} // namespace VrelUtilsCommand
