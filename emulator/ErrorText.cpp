#include "emulator/ErrorText.h"

#include "external/IVrelAPI.h"

#include <cstring>

namespace VrelRig {

namespace {

bool isContinuationByte(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::size_t boundedLength(std::string_view text)
{
    std::size_t length = kVrelErrorTextSize - 1;
    if (text.size() <= length)
        return text.size();
    while (length > 0 && isContinuationByte(text[length]))
        --length;
    return length;
}

} // namespace

void copyErrorText(std::string_view text, char* buffer)
{
    if (buffer == nullptr)
        return;
    auto const length = boundedLength(text);
    if (length > 0)
        std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

} // namespace VrelRig
