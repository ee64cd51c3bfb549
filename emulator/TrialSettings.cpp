#include "emulator/TrialSettings.h"

#include "emulator/NumberText.h"
#include "emulator/RigError.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

namespace VrelRig::TrialSettings {

namespace {

constexpr char const* kFaultVariable = "VREL_RIG_FAULT";
constexpr char const* kDelayVariable = "VREL_RIG_DELAY_MS";

constexpr std::array<std::string_view, 19> kOperations = {"listDevices",      "idDevice",
                                                          "startOver",        "fwRecovery",
                                                          "downloadFwOs",     "eraseToken",
                                                          "configPartitions", "getTokenPid",
                                                          "getCardInfo",      "clearRpmb",
                                                          "idDeviceIfpFile",  "writeToken",
                                                          "readToken",        "setDeviceLifecycleStage",
                                                          "oemIfpProvision",  "getCardInfoToFile",
                                                          "readBootMedia",    "downloadOemKeyManifest",
                                                          "setCapabilities"};

bool isOperation(std::string_view name)
{
    return std::find(kOperations.begin(), kOperations.end(), name) != kOperations.end();
}

[[noreturn]] void refuse(std::string const& variable, std::string_view value, std::string const& reason)
{
    throw RigError(variable + ' ' + quoted(std::string(value)) + " is malformed: " + reason);
}

/** Codes above INT_MAX, as in 0x80000001, stand for the negative number of the same 32 bits. */
std::optional<int> parseCode(std::string_view text)
{
    bool const negative = !text.empty() && text.front() == '-';
    if (negative)
        text.remove_prefix(1);
    auto const number = parseNumber(text);
    constexpr std::uint64_t kMostNegative = std::uint64_t(1) << 31U;
    if (!number || *number > (negative ? kMostNegative : std::numeric_limits<std::uint32_t>::max()))
        return std::nullopt;
    auto const bits = static_cast<std::uint32_t>(*number);
    return static_cast<int>(negative ? 0U - bits : bits);
}

std::string_view environmentValue(char const* name)
{
    auto const* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

} // namespace

Fault parseFault(std::string_view description)
{
    auto const operation = description.substr(0, description.find(':'));
    if (operation.size() == description.size())
        refuse(kFaultVariable, description, "OPERATION:CODE[:TEXT] is expected");
    if (!isOperation(operation))
        refuse(kFaultVariable, description,
               quoted(std::string(operation)) + " is no operation that can fail");
    auto const rest = description.substr(operation.size() + 1);
    auto const codeText = rest.substr(0, rest.find(':'));
    auto const code = parseCode(codeText);
    if (!code)
        refuse(kFaultVariable, description, quoted(std::string(codeText)) + " is no 32-bit number");
    if (*code == 0)
        refuse(kFaultVariable, description, "the code 0 means success");
    Fault fault = {std::string(operation), *code, std::nullopt};
    if (codeText.size() < rest.size())
        fault.text = std::string(rest.substr(codeText.size() + 1));
    return fault;
}

std::optional<Fault> faultOf(std::string_view operation)
{
    auto const description = environmentValue(kFaultVariable);
    if (description.empty())
        return std::nullopt;
    auto fault = parseFault(description);
    if (fault.operation != operation)
        return std::nullopt;
    return fault;
}

std::chrono::milliseconds delay()
{
    auto const text = environmentValue(kDelayVariable);
    if (text.empty())
        return std::chrono::milliseconds(0);
    auto const number = parseNumber(text);
    if (!number || *number > std::numeric_limits<std::uint32_t>::max())
        refuse(kDelayVariable, text, "a number of milliseconds is expected");
    return std::chrono::milliseconds(static_cast<std::uint32_t>(*number));
}

} // namespace VrelRig::TrialSettings
