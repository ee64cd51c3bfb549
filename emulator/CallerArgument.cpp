#include "emulator/CallerArgument.h"

namespace VrelRig {

namespace {

/** Puts in front of an error text which argument is meant. */
template <typename Work>
auto explained(char const* what, Work const& work)
{
    try {
        return work();
    } catch (RigError const& error) {
        throw RigError(std::string("Bad ") + what + ": " + error.what());
    }
}

} // namespace

std::string requiredText(char const* text, char const* what)
{
    std::string const given = &required(text, what);
    if (given.empty())
        throw RigError(std::string("No ") + what + " given (empty text)");
    return given;
}

InputFile openCallerFile(char const* path, char const* what)
{
    auto const name = requiredText(path, what);
    return explained(what, [&] {
        InputFile file(name);
        if (file.size() == 0)
            throw RigError(quoted(name) + " is empty");
        return file;
    });
}

std::string readCallerFile(char const* path, char const* what, std::uint64_t maximum)
{
    auto const file = openCallerFile(path, what);
    return explained(what, [&] { return readFile(file, maximum); });
}

} // namespace VrelRig
