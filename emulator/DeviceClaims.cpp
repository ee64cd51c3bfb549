#include "emulator/DeviceClaims.h"

#include "emulator/RigError.h"

namespace VrelRig {

void DeviceClaims::take(std::string const& serial)
{
    std::lock_guard const lock(m_mutex);
    if (!m_busy.insert(serial).second)
        throw RigError("Device " + quoted(serial) + " is busy with another operation");
}

void DeviceClaims::giveBack(std::string const& serial)
{
    std::lock_guard const lock(m_mutex);
    m_busy.erase(serial);
}

DeviceClaim::DeviceClaim(DeviceClaims& claims, std::string serial)
    : m_claims(claims)
    , m_serial(std::move(serial))
{
    m_claims.take(m_serial);
}

DeviceClaim::~DeviceClaim()
{
    m_claims.giveBack(m_serial);
}

} // namespace VrelRig
