#pragma once

#include "emulator/OperationLog.h"
#include "emulator/Rig.h"
#include "emulator/RigDevice.h"

#include <functional>

namespace VrelRig {

/** What all operations are called with. */
struct OperationCall
{
    char const* name; ///< the operation's name in the slot table
    char const* serial;
    char* errorText;
    VrelApiLogCallback log;
    void* context;
};

/** Works on the rig. @return 0, else a code with the reason in the error buffer; lets no exception out */
int runOnRig(OperationCall const& call, std::function<void(Rig const&)> const& work);

/** Works on the one device that the call names, which is the operation's own meanwhile. */
int runOnDevice(OperationCall const& call,
                std::function<void(RigDevice const&, OperationLog const&)> const& work);

} // namespace VrelRig
