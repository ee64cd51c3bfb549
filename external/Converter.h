#pragma once

#include "external/HostExport.h"

#include <QString>

/** The host's conversions of raw bytes. */
class HOST_EXPORT Converter
{
public:
    /**
     * Renders bytes as lower-case hexadecimal digits.
     * @param separated a blank between the bytes
     * @param padded two digits for every byte, otherwise without leading zeros
     * @param inOrder the first byte first, otherwise the last
     */
    static QString convertByteArrayToHexString(unsigned char* bytes, unsigned int count, bool separated,
                                               bool padded, bool inOrder);
};
