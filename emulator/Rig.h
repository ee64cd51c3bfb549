#pragma once

#include "emulator/DeviceClaims.h"
#include "emulator/LockFile.h"
#include "emulator/OutputFile.h"

#include <string>
#include <string_view>
#include <vector>

namespace VrelRig {

/** A rig of emulated devices, locked for this process. Operations on different devices may use it at once. */
class Rig
{
public:
    /**
     * Takes the rig in the directory `root` and removes what an interrupted writer left.
     * @throws RigError when another process has it or the directory is no rig
     */
    explicit Rig(std::string const& root);

    /** @return the serial numbers of all devices, sorted, the broken ones included */
    std::vector<std::string> serials() const;

    /**
     * @return the rig's own spelling of a serial number given from outside; the only device's for an empty
     * text
     * @throws RigError for an unknown serial, and for an empty one unless there is exactly one device
     */
    std::string select(std::string const& serial) const;

    /** @return the directory of a device that serials() or select() named */
    std::string devicePath(std::string const& serial) const;

    /** @return a file of the rig to be written; it takes its place whole or not at all */
    OutputFile replace(std::string const& path) const;

    /** Writes a whole file of the rig. */
    void store(std::string const& path, std::string_view content) const;

    DeviceClaims& claims() { return m_claims; }

private:
    std::string m_root;
    LockFile m_lock;
    DeviceClaims m_claims;
};

} // namespace VrelRig
