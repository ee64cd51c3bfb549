#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace VrelRig {

/** Why something in or around the rig cannot be done; the text names the cause and is shown to the user. */
class RigError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/** @return the text in single quotes, as paths and names appear in error texts */
inline std::string quoted(std::string const& text)
{
    return "'" + text + "'";
}

} // namespace VrelRig
