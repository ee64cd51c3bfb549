#include "emulator/RigHold.h"

#include "emulator/Text.h"

#include <QByteArray>

namespace VrelRig::RigHold {

namespace {

struct State
{
    unsigned count = 0;
    std::shared_ptr<Rig> rig;
    std::weak_ptr<Rig> inUse; ///< outlives the hold while an operation is still running
    pid_t owner = 0;
};

std::mutex s_mutex;
State s_state;

/** A forked child copies its parent's state but not its hold. */
State& ownState()
{
    if (s_state.owner != ::getpid())
        s_state = {0, nullptr, {}, ::getpid()};
    return s_state;
}

} // namespace

std::string configuredRoot()
{
    auto const rig = qgetenv("VREL_RIG").toStdString();
    auto const stateHome = qgetenv("XDG_STATE_HOME").toStdString();
    auto const home = qgetenv("HOME").toStdString();
    if (!rig.empty())
        return rig;
    if (stateHome.rfind('/', 0) == 0)
        return stateHome + "/vrel/rig";
    if (home.empty())
        throw RigError("There is no place for the rig: neither VREL_RIG nor HOME is set");
    return home + "/.local/state/vrel/rig";
}

void take()
{
    std::lock_guard const lock(s_mutex);
    auto& hold = ownState();
    if (!hold.rig) {
        auto rig = hold.inUse.lock();
        hold.rig = rig ? rig : std::make_shared<Rig>(configuredRoot(), standardDevices());
        hold.inUse = hold.rig;
    }
    ++hold.count;
}

void giveBack()
{
    std::lock_guard const lock(s_mutex);
    auto& hold = ownState();
    if (hold.count > 0 && --hold.count == 0)
        hold.rig.reset();
}

std::shared_ptr<Rig> current()
{
    std::lock_guard const lock(s_mutex);
    auto& hold = ownState();
    if (!hold.rig)
        throw RigError("The rig is not held: acquire the API first");
    return hold.rig;
}

} // namespace VrelRig::RigHold
