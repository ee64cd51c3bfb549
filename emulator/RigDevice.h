#pragma once

#include "emulator/JsonFile.h"
#include "emulator/Rig.h"
#include "emulator/UsbPath.h"

#include <string>

namespace VrelRig {

/** One emulated device: its directory in the rig and its description there. The rig has to outlive it. */
class RigDevice
{
public:
    RigDevice(Rig const& rig, std::string serial);

    std::string const& serial() const { return m_serial; }
    Rig const& rig() const { return m_rig; }

    /** @return the path of a file or directory of the device */
    std::string file(std::string const& name) const;

    /** @return the device's description. @throws RigError when the file is missing or malformed */
    JsonFile description() const;

    /** @return where the device is plugged in, from its description */
    UsbPath location() const;

private:
    Rig const& m_rig;
    std::string m_serial;
};

} // namespace VrelRig
