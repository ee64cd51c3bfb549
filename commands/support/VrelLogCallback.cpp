#include "commands/support/VrelLogCallback.h"

#include "external/LogHandler.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace VrelUtilsCommand {

namespace {

/** Beginnings of messages that come once per transfer and would drown the rest. */
constexpr char const* kTransferPrefixes[] = {"RX", "TX", "Reading first packet"};

constexpr Logger::LogLevel kLevels[] = {
    kRawLevel, kTraceLevel, kProgressLevel, kWarningLevel, kErrorLevel, kFatalLevel,
};

bool isTransferMessage(char const* text)
{
    return text != nullptr && std::any_of(std::begin(kTransferPrefixes), std::end(kTransferPrefixes),
                                          [text](char const* prefix) {
                                              return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
                                          });
}

} // namespace

void vrelLogCallback(unsigned long level, char const* text, void* context)
{
    if (context == nullptr || isTransferMessage(text))
        return;
    Logger::LogLevel const mapped = level < std::size(kLevels) ? kLevels[level] : kRawLevel;
    try {
        static_cast<LogHandler*>(context)->logMessage(mapped, text);
    } catch (...) { // the caller is the vendor's, which need not know of exceptions: better a line less
    }
}

} // namespace VrelUtilsCommand
