#include "external/Converter.h"

// NOLINTNEXTLINE(readability-non-const-parameter): the host framework declares it so
QString Converter::convertByteArrayToHexString(unsigned char* bytes, unsigned int count, bool separated,
                                               bool padded, bool inOrder)
{
    QString text;
    for (unsigned int i = 0; i < count; ++i) {
        if (separated && i != 0)
            text += QLatin1Char(' ');
        unsigned int const byte = bytes[inOrder ? i : count - 1 - i];
        text += QStringLiteral("%1").arg(byte, padded ? 2 : 0, 16, QLatin1Char('0'));
    }
    return text;
}
