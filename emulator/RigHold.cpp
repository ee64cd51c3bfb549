#include "emulator/RigHold.h"

#include "emulator/RigError.h"
#include "emulator/RigTemplate.h"

#include <cstdlib>

namespace VrelRig::RigHold {

namespace {

struct State
{
    std::mutex mutex;
    unsigned count = 0;
    std::shared_ptr<Rig> rig;
    std::weak_ptr<Rig> inUse; ///< outlives the hold while an operation is still running
    pid_t owner = 0;
};

State& state()
{
    static State s_state;
    return s_state;
}

/** A forked child copies its parent's state but not its hold. */
void dropInheritedHold(State& state)
{
    if (state.owner == ::getpid())
        return;
    state.count = 0;
    state.rig.reset();
    state.inUse.reset();
    state.owner = ::getpid();
}

std::string environmentValue(char const* name)
{
    auto const* const value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::shared_ptr<Rig> openRig()
{
    auto const root = RigTemplate::standard().makeIfAbsent(configuredRoot());
    return std::make_shared<Rig>(root);
}

} // namespace

std::string configuredRoot()
{
    auto const rig = environmentValue("VREL_RIG");
    if (!rig.empty())
        return rig;
    auto const stateHome = environmentValue("XDG_STATE_HOME");
    if (!stateHome.empty() && stateHome.front() == '/')
        return stateHome + "/vrel/rig";
    auto const home = environmentValue("HOME");
    if (home.empty())
        throw RigError("There is no place for the rig: neither VREL_RIG nor HOME is set");
    return home + "/.local/state/vrel/rig";
}

void take()
{
    auto& hold = state();
    std::lock_guard const lock(hold.mutex);
    dropInheritedHold(hold);
    if (!hold.rig) {
        auto rig = hold.inUse.lock();
        hold.rig = rig ? rig : openRig();
        hold.inUse = hold.rig;
    }
    ++hold.count;
}

void giveBack()
{
    auto& hold = state();
    std::lock_guard const lock(hold.mutex);
    dropInheritedHold(hold);
    if (hold.count > 0 && --hold.count == 0)
        hold.rig.reset();
}

std::shared_ptr<Rig> current()
{
    auto& hold = state();
    std::lock_guard const lock(hold.mutex);
    dropInheritedHold(hold);
    if (!hold.rig)
        throw RigError("The rig is not held: acquire the API first");
    return hold.rig;
}

} // namespace VrelRig::RigHold
