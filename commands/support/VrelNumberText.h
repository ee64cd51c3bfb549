#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace VrelUtilsCommand {

/** Eight lower-case hexadecimal digits. */
inline QString paddedHex(std::uint32_t number)
{
    return QStringLiteral("%1").arg(number, 8, 16, QLatin1Char('0'));
}

/** Two lower-case hexadecimal digits a byte, in memory order. */
template <std::size_t Size>
QString hexDigits(std::uint8_t const (&bytes)[Size])
{
    return QString::fromLatin1(QByteArray(reinterpret_cast<char const*>(bytes), Size).toHex());
}

} // namespace VrelUtilsCommand
