#include "commands/support/VrelLogCallback.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <string>
#include <vector>

/**
 * @file
 * A message of the vendor library: the first byte of the input is its level, '0' for 0; the rest its text.
 */
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    if (size == 0)
        return 0;
    std::vector<LogLine> records;
    setLogSink([&records](LogLine const& line) { records.push_back(line); });
    LogHandler log;
    auto const level = static_cast<unsigned long>(static_cast<long>(data[0]) - '0');
    std::string const text(std::string(data + 1, data + size).c_str());
    VrelUtilsCommand::vrelLogCallback(level, text.c_str(), &log);

    auto const begins = [&text](char const* start) { return text.rfind(start, 0) == 0; };
    bool const isTransfer = begins("RX") || begins("TX") || begins("Reading first packet");
    require(records.empty() == isTransfer, "all but transfers is logged");
    if (isTransfer)
        return 0;
    require(records.size() == 1 && records[0].level == 5 - static_cast<int>(level <= 5 ? level : 0),
            "once, on a level of the host's");
    QByteArray const logged = records[0].text.toUtf8();
    require(records[0].text == QString::fromUtf8(text.c_str()) &&
                records[0].text == QString::fromUtf8(logged),
            "with its text as valid UTF-8");
    auto const isAscii = [](char byte) { return static_cast<signed char>(byte) >= 0; };
    require(!std::all_of(text.begin(), text.end(), isAscii) || logged.toStdString() == text,
            "ASCII byte for byte");
    return 0;
}
