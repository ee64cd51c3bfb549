#include "emulator/RigHold.h"
#include "emulator/VrelEmulator.h"

#include "external/IVrelAPI.h"

#define VREL_API_EXPORT __attribute__((visibility("default")))

extern "C" {

VREL_API_EXPORT IVrelAPI* api_acquire()
{
    static VrelRig::VrelEmulator s_emulator;
    try {
        VrelRig::RigHold::take();
        return &s_emulator;
    } catch (...) {
        return nullptr;
    }
}

VREL_API_EXPORT void api_release()
{
    try {
        VrelRig::RigHold::giveBack();
    } catch (...) {
        // The C boundary has no way to report; a mutex that cannot be locked leaves the hold as it was.
    }
}
}
