#include "devices/VrelSerialOutput.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

/**
 * @file
 * What a downloader may print in answer to "getSerial": the input is its output.
 */
namespace {

bool isLetterOrDigit(char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

/** The lines of letters and digits, found byte by byte; a byte order mark is no part of the text. */
std::vector<std::string> candidates(std::string output)
{
    if (output.rfind("\xEF\xBB\xBF", 0) == 0)
        output.erase(0, 3);
    std::vector<std::string> lines;
    std::string line;
    for (char const byte : output.substr(0, output.find('\0')) + '\n') {
        if (byte != '\r' && byte != '\n') {
            line += byte;
            continue;
        }
        if (!line.empty() && std::all_of(line.begin(), line.end(), isLetterOrDigit))
            lines.push_back(line);
        line.clear();
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    std::string const output(reinterpret_cast<char const*>(data), size);
    QString const text = VrelSerialOutput::text(QByteArray::fromStdString(output));
    require(!text.contains(QChar(0)), "the text ends at a NUL");
    QString const serial = VrelSerialOutput::serialNumber(text);
    auto const lines = candidates(output);
    require(serial.isNull() == (lines.size() != 1), "there is a serial number when one line can be one");
    require(serial.isNull() || serial.toStdString() == lines.front(), "and it is that line");
    return 0;
}
