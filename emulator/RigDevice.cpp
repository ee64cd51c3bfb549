#include "emulator/RigDevice.h"

#include "emulator/RigError.h"
#include "emulator/RigLayout.h"

namespace VrelRig {

RigDevice::RigDevice(Rig const& rig, std::string serial)
    : m_rig(rig)
    , m_serial(std::move(serial))
{
}

std::string RigDevice::file(std::string const& name) const
{
    return m_rig.devicePath(m_serial) + '/' + name;
}

JsonFile RigDevice::description() const
{
    return JsonFile(file(RigLayout::kDescription));
}

UsbPath RigDevice::location() const
{
    auto const text = description().text("path");
    auto const path = UsbPath::parse(text);
    if (!path)
        throw RigError(quoted(file(RigLayout::kDescription)) + ": 'path' " + quoted(text) +
                       " is not BUS-PORT[.PORT...]");
    return *path;
}

} // namespace VrelRig
