#include "commands/cardreport/VrelCardField.h"

namespace VrelUtilsCommand {

std::uint64_t fieldNumber(CardField const& field, unsigned char const* block)
{
    std::uint64_t number = 0;
    for (unsigned int i = field.width; i > 0; --i)
        number = number << 8U | block[field.offset + i - 1];
    return number;
}

QString fieldText(CardField const& field, unsigned char const* block)
{
    qulonglong const number = fieldNumber(field, block);
    return field.format == CardFieldFormat::Hexadecimal ? QStringLiteral("0x") + QString::number(number, 16)
                                                        : QString::number(number);
}

} // namespace VrelUtilsCommand
