#include "emulator/Operation.h"

#include <QByteArray>
#include <QList>

#include <chrono>
#include <thread>

namespace VrelRig {

namespace {

/** A failure that the environment asks for. */
struct Fault
{
    int code;
    QByteArray text; ///< null: the error buffer stays as it is
};

constexpr char const* kFaultVariable = "VREL_RIG_FAULT";
constexpr char const* kDelayVariable = "VREL_RIG_DELAY_MS";

constexpr char const* kOperationsThatCanFail = "listDevices idDevice startOver fwRecovery downloadFwOs "
                                               "eraseToken configPartitions getTokenPid getCardInfo "
                                               "clearRpmb idDeviceIfpFile writeToken readToken "
                                               "setDeviceLifecycleStage oemIfpProvision getCardInfoToFile "
                                               "readBootMedia downloadOemKeyManifest setCapabilities";

[[noreturn]] void refuse(std::string const& variable, QByteArray const& value, std::string const& reason)
{
    throw RigError(variable + ' ' + inQuotes(value.toStdString()) + " is malformed: " + reason);
}

/** Codes above INT_MAX, as in 0x80000001, stand for the negative number of the same 32 bits. */
std::optional<int> parseCode(std::string const& text)
{
    constexpr std::uint64_t kMostNegative = std::uint64_t(1) << 31U;
    bool const isNegative = text.rfind('-', 0) == 0;
    auto const number = parseNumber(text.substr(isNegative ? 1 : 0));
    if (!number || *number > (isNegative ? kMostNegative : std::numeric_limits<std::uint32_t>::max()))
        return std::nullopt;
    return static_cast<int>(static_cast<std::uint32_t>(isNegative ? 0 - *number : *number));
}

/** @throws Fault the failure that the environment asks for, as OPERATION:CODE[:TEXT], if it is this
 * operation's */
void failAsAsked(char const* operation, std::chrono::milliseconds delay = {})
{
    auto const value = qgetenv(kFaultVariable);
    auto const parts = value.split(':');
    if (value.isEmpty())
        return;
    if (parts.size() == 1)
        refuse(kFaultVariable, value, "OPERATION:CODE[:TEXT] is expected");
    if (!QByteArray(kOperationsThatCanFail).split(' ').contains(parts[0]))
        refuse(kFaultVariable, value,
               inQuotes(parts[0].toStdString()) + " is not an operation that can fail");
    auto const code = parseCode(parts[1].toStdString()).value_or(0);
    if (code == 0)
        refuse(kFaultVariable, value,
               inQuotes(parts[1].toStdString()) +
                   " is not a 32-bit number other than 0, which means success");
    if (parts[0] != operation)
        return;
    std::this_thread::sleep_for(delay);
    throw Fault{code, value.mid(parts[0].size() + parts[1].size() + 2)};
}

std::chrono::milliseconds wantedDelay()
{
    auto const text = qgetenv(kDelayVariable);
    auto const number = parseNumber(text.isEmpty() ? "0" : text.toStdString());
    if (!number || *number > std::numeric_limits<std::uint32_t>::max())
        refuse(kDelayVariable, text, "a number of milliseconds is expected");
    return std::chrono::milliseconds(*number);
}

/** Does the work and turns whatever it throws into a result and a text. */
int guarded(OperationCall const& call, std::function<void()> const& work)
{
    try {
        work();
        return 0;
    } catch (Fault const& fault) {
        if (!fault.text.isNull())
            copyErrorText(fault.text.constData(), call.errorText);
        return fault.code;
    } catch (std::exception const& error) {
        copyErrorText(error.what(), call.errorText);
    } catch (...) {
        copyErrorText("Unknown error", call.errorText);
    }
    return 1;
}

} // namespace

int onRig(OperationCall const& call, std::function<void(Rig const&)> const& work)
{
    return guarded(call, [&] {
        failAsAsked(call.name);
        work(*heldRig());
    });
}

int workOnDevice(OperationCall const& call, std::function<void(Operation const&)> const& work)
{
    return guarded(call, [&] {
        auto const delay = wantedDelay();
        failAsAsked(call.name, delay);
        auto const rig = heldRig();
        auto const serial = rig->select(&required(call.serial, "serial number"));
        auto const claim = rig->claim(serial);
        std::this_thread::sleep_for(delay);
        Operation operation = {call, rig->devices().open(serial)};
        operation.trace("Reading first packet from device");
        operation.trace(std::string("TX ") + call.name);
        if (call.modulePath) {
            operation.module = openCallerFile(*call.modulePath, "recovery module");
            operation.trace("TX recovery module of " + std::to_string(operation.module->size()) + " bytes");
        }
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
        InputFile file(name, maximum);
        if (file.size() == 0)
            throw RigError(inQuotes(name) + " is empty");
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
    if (buffer == nullptr)
        return;
    auto length = std::min(text.size(), kVrelErrorTextSize - 1);
    while (length > 0 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U)
        --length; // to where a character begins
    text.copy(buffer, length);
    buffer[length] = '\0';
}

} // namespace VrelRig
