#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/** What the environment asks of the emulator for trials: failures and slowness on purpose. */
namespace VrelRig::TrialSettings {

/** A failure asked for. */
struct Fault
{
    std::string operation;
    int code = 0;
    std::optional<std::string> text; ///< nothing: the error buffer stays as it is
};

/** @return the fault described as OPERATION:CODE[:TEXT]. @throws RigError for a malformed description */
Fault parseFault(std::string const& description);

/** @return the fault that VREL_RIG_FAULT asks of this operation, if any. @throws RigError when malformed */
std::optional<Fault> faultOf(std::string_view operation);

/** @return the delay that VREL_RIG_DELAY_MS asks of device operations. @throws RigError when malformed */
std::chrono::milliseconds delay();

} // namespace VrelRig::TrialSettings
