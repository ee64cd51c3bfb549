#pragma once

#include "emulator/InputFile.h"
#include "emulator/RigError.h"

#include <string>

/** What the caller of an operation hands in, checked. `what` names the argument in the error text. */
namespace VrelRig {

template <typename T>
T& required(T* argument, char const* what)
{
    if (argument == nullptr)
        throw RigError(std::string("No ") + what + " given (null pointer)");
    return *argument;
}

/** @return a text that is neither null nor empty */
std::string requiredText(char const* text, char const* what);

/** Opens a regular, readable, non-empty file that the caller named. */
InputFile openCallerFile(char const* path, char const* what);

/** Reads such a file of at most `maximum` bytes. */
std::string readCallerFile(char const* path, char const* what, std::uint64_t maximum);

} // namespace VrelRig
