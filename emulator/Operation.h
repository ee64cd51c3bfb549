#pragma once

#include "emulator/Files.h"
#include "emulator/Rig.h"
#include "emulator/Text.h"

#include "external/IVrelAPI.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

/** What all operations have in common: how they are run, what they are handed, what they say. */
namespace VrelRig {

/** What an operation is called with. */
struct OperationCall
{
    char const* name; ///< the operation's name in the slot table
    char const* serial;
    char* errorText;
    VrelApiLogCallback log = nullptr;
    void* context = nullptr;
    std::optional<char const*> modulePath = std::nullopt; ///< of the recovery module, where one is needed
};

/** An operation under way on a device. Its messages go to the caller; without a callback they are dropped. */
struct Operation
{
    OperationCall const& call;
    Directory device;
    std::optional<InputFile> module = std::nullopt; ///< the recovery module

    void trace(std::string const& text) const { send(1, text); }
    void info(std::string const& text) const { send(2, text); }
    void warning(std::string const& text) const { send(3, text); }
    void send(unsigned long level, std::string const& text) const
    {
        if (call.log != nullptr)
            call.log(level, text.c_str(), call.context);
    }
};

/** Works on the rig. @return 0, else a code with the reason in the error buffer; lets no exception out */
int onRig(OperationCall const& call, std::function<void(Rig const&)> const& work);

/**
 * Works on the one device that the call names, which is the operation's own meanwhile; fails when the device
 * has been unplugged before the end. A recovery module has to be one that could be sent to the device.
 */
int workOnDevice(OperationCall const& call, std::function<void(Operation const&)> const& work);

/** The same, with work of any size by reference: a copy would need memory before anything is caught. */
template <typename Work>
int onDevice(OperationCall const& call, Work const& work)
{
    return workOnDevice(call, std::cref(work));
}

/** @return a text that is neither null nor empty */
std::string requiredText(char const* text, char const* what);

/** Opens a regular, readable, non-empty file that the caller named, of at most `maximum` bytes. */
InputFile openCallerFile(char const* path, char const* what, std::uint64_t maximum = kUnlimited);

/** Writes a part of a file of the rig to a file that the caller named. */
void copyToTarget(InputFile const& source, std::uint64_t offset, std::uint64_t length,
                  std::string const& target);

/**
 * Copies a text into a caller's error buffer of kVrelErrorTextSize bytes, NUL-terminated. A text that is too
 * long is cut at the boundary of a UTF-8 character. A null buffer is left alone.
 */
void copyErrorText(std::string_view text, char* buffer);

} // namespace VrelRig
