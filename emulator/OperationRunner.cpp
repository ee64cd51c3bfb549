#include "emulator/OperationRunner.h"

#include "emulator/CallerArgument.h"
#include "emulator/ErrorText.h"
#include "emulator/RigHold.h"
#include "emulator/TrialSettings.h"

#include <thread>

namespace VrelRig {

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;

/** Does the work and turns whatever it throws into a result and a text. */
int guarded(OperationCall const& call, std::function<void()> const& work)
{
    try {
        work();
        return kSuccess;
    } catch (TrialSettings::Fault const& fault) {
        if (fault.text)
            copyErrorText(*fault.text, call.errorText);
        return fault.code;
    } catch (std::exception const& error) {
        copyErrorText(error.what(), call.errorText);
    } catch (...) {
        copyErrorText("Unknown error", call.errorText);
    }
    return kFailure;
}

void throwWantedFault(OperationCall const& call, std::chrono::milliseconds delay = {})
{
    if (auto const fault = TrialSettings::faultOf(call.name)) {
        std::this_thread::sleep_for(delay);
        throw TrialSettings::Fault(*fault);
    }
}

void converse(OperationCall const& call, OperationLog const& log, std::function<void()> const& work)
{
    log.firstPacket();
    log.sent(call.name);
    work();
    log.received(std::string(call.name) + " done");
}

} // namespace

int runOnRig(OperationCall const& call, std::function<void(Rig const&)> const& work)
{
    return guarded(call, [&] {
        throwWantedFault(call);
        work(*RigHold::current());
    });
}

int runOnDevice(OperationCall const& call,
                std::function<void(RigDevice const&, OperationLog const&)> const& work)
{
    return guarded(call, [&] {
        auto const delay = TrialSettings::delay();
        throwWantedFault(call, delay);
        auto const rig = RigHold::current();
        auto const serial = rig->select(&required(call.serial, "serial number"));
        DeviceClaim const claim(rig->claims(), serial);
        std::this_thread::sleep_for(delay);
        OperationLog const log(call.log, call.context);
        RigDevice const device(*rig, serial);
        converse(call, log, [&] { work(device, log); });
    });
}

} // namespace VrelRig
