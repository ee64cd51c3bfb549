#include "emulator/Operation.h"

#include "emulator/RigHold.h"
#include "emulator/TrialSettings.h"

#include <thread>

namespace VrelRig {

namespace {

/** Does the work and turns whatever it throws into a result and a text. */
int guarded(OperationCall const& call, std::function<void()> const& work)
{
    try {
        work();
        return 0;
    } catch (TrialSettings::Fault const& fault) {
        if (fault.text)
            copyErrorText(*fault.text, call.errorText);
        return fault.code;
    } catch (std::exception const& error) {
        copyErrorText(error.what(), call.errorText);
    } catch (...) {
        copyErrorText("Unknown error", call.errorText);
    }
    return 1;
}

void throwWantedFault(OperationCall const& call, std::chrono::milliseconds delay = {})
{
    if (auto const fault = TrialSettings::faultOf(call.name)) {
        std::this_thread::sleep_for(delay);
        throw TrialSettings::Fault(*fault);
    }
}

} // namespace

void Operation::send(unsigned long level, std::string const& text) const
{
    if (call.log != nullptr)
        call.log(level, text.c_str(), call.context);
}

int runOnRig(OperationCall const& call, std::function<void(Rig const&)> const& work)
{
    return guarded(call, [&] {
        throwWantedFault(call);
        work(*RigHold::current());
    });
}

int runOnDevice(OperationCall const& call, std::function<void(Operation const&)> const& work)
{
    return guarded(call, [&] {
        auto const delay = TrialSettings::delay();
        throwWantedFault(call, delay);
        auto const rig = RigHold::current();
        auto const serial = rig->select(&required(call.serial, "serial number"));
        auto const claim = rig->claim(serial);
        std::this_thread::sleep_for(delay);
        Operation const operation = {call, rig->devices().open(serial)};
        operation.trace("Reading first packet from device");
        operation.trace(std::string("TX ") + call.name);
        work(operation);
        if (!rig->devices().holds(serial, operation.device))
            throw RigError("Device " + inQuotes(serial) + " was unplugged during the operation");
        operation.trace(std::string("RX ") + call.name + " done");
    });
}

std::string requiredText(char const* text, char const* what)
{
    std::string const given = &required(text, what);
    if (given.empty())
        throw RigError(std::string("No ") + what + " given (empty text)");
    return given;
}

InputFile openCallerFile(char const* path, char const* what, std::uint64_t maximum)
{
    auto const name = requiredText(path, what);
    try {
        InputFile file(name);
        if (file.size() == 0)
            throw RigError(inQuotes(name) + " is empty");
        file.requireAtMost(maximum);
        return file;
    } catch (RigError const& error) {
        throw RigError(std::string("Bad ") + what + ": " + error.what());
    }
}

void copyToTarget(InputFile const& source, std::uint64_t offset, std::uint64_t length,
                  std::string const& target)
{
    auto output = OutputFile::outside(target);
    source.read(offset, length, [&](std::string_view piece) { output.write(piece); });
    output.commit();
}

void copyErrorText(std::string_view text, char* buffer)
{
    auto const isContinuation = [&](std::size_t index) {
        return (static_cast<unsigned char>(text[index]) & 0xC0U) == 0x80U;
    };
    if (buffer == nullptr)
        return;
    auto length = std::min(text.size(), kVrelErrorTextSize - 1);
    while (length > 0 && length < text.size() && isContinuation(length))
        --length;
    text.copy(buffer, length);
    buffer[length] = '\0';
}

} // namespace VrelRig
