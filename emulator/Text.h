#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace VrelRig {

/** Why something in or around the rig cannot be done; the text names the cause and is shown to the user. */
struct RigError : std::runtime_error
{
    explicit RigError(std::string const& text, int systemCode = 0)
        : runtime_error(text)
        , code(systemCode)
    {
    }

    int code; ///< the system's, where that refused
};

/** @return the text in single quotes, as paths and names appear in error texts */
std::string inQuotes(std::string const& text);

/** @throws RigError "Cannot ACTION 'PATH': REASON" */
[[noreturn]] void failTo(std::string const& action, std::string const& path, std::string const& reason,
                         int code = 0);

/** @return what the caller handed in, named `what` in the error text. @throws RigError for a null pointer */
template <typename T>
T& required(T* argument, char const* what)
{
    if (argument == nullptr)
        throw RigError(std::string("No ") + what + " given (null pointer)");
    return *argument;
}

/**
 * @return the bytes written as pairs of hexadecimal digits; nothing for other texts. White space may stand
 * between bytes; '#' begins a comment that lasts to the end of its line.
 */
std::optional<std::string> parseHex(std::string const& text);

/** @return the bytes as pairs of upper-case digits separated by blanks */
QString formatHex(std::string const& bytes);

/** @return the number as "0x" and at least `digits` upper-case hexadecimal digits */
QString hexNumber(std::uint32_t number, int digits = 8);

/** @return the unsigned number written in decimal or, after "0x", in hexadecimal; nothing for other texts */
std::optional<std::uint64_t> parseNumber(std::string_view text);

} // namespace VrelRig
