#include "emulator/TrialSettings.h"

#include "emulator/Text.h"

#include <QByteArray>

#include <limits>

namespace VrelRig::TrialSettings {

namespace {

constexpr char const* kFaultVariable = "VREL_RIG_FAULT";
constexpr char const* kDelayVariable = "VREL_RIG_DELAY_MS";

/** The operations that can fail, each between blanks. */
constexpr std::string_view kOperations = " listDevices idDevice startOver fwRecovery downloadFwOs eraseToken "
                                         "configPartitions getTokenPid getCardInfo"
                                         " clearRpmb idDeviceIfpFile writeToken readToken "
                                         "setDeviceLifecycleStage oemIfpProvision getCardInfoToFile"
                                         " readBootMedia downloadOemKeyManifest setCapabilities ";

[[noreturn]] void refuse(std::string const& variable, std::string const& value, std::string const& reason)
{
    throw RigError(variable + ' ' + inQuotes(value) + " is malformed: " + reason);
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

} // namespace

Fault parseFault(std::string const& description)
{
    auto const end = description.find(':');
    auto const codeEnd = end == std::string::npos ? end : description.find(':', end + 1);
    if (end == std::string::npos)
        refuse(kFaultVariable, description, "OPERATION:CODE[:TEXT] is expected");
    Fault fault = {description.substr(0, end), 0, std::nullopt};
    auto const codeText = description.substr(end + 1, codeEnd - end - 1);
    auto const code = parseCode(codeText);
    bool const isOperation = kOperations.find(' ' + fault.operation + ' ') != std::string_view::npos;
    if (!isOperation || !code || *code == 0)
        refuse(kFaultVariable, description,
               isOperation ? inQuotes(codeText) + " is no 32-bit number other than 0, which means success"
                           : inQuotes(fault.operation) + " is no operation that can fail");
    fault.code = *code;
    if (codeEnd != std::string::npos)
        fault.text = description.substr(codeEnd + 1);
    return fault;
}

std::optional<Fault> faultOf(std::string_view operation)
{
    auto const description = qgetenv(kFaultVariable).toStdString();
    auto const fault = description.empty() ? std::nullopt : std::make_optional(parseFault(description));
    return fault && fault->operation == operation ? fault : std::nullopt;
}

std::chrono::milliseconds delay()
{
    auto const text = qgetenv(kDelayVariable).toStdString();
    auto const number = parseNumber(text.empty() ? "0" : text);
    if (!number || *number > std::numeric_limits<std::uint32_t>::max())
        refuse(kDelayVariable, text, "a number of milliseconds is expected");
    return std::chrono::milliseconds(*number);
}

} // namespace VrelRig::TrialSettings
