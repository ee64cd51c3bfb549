#pragma once

#include <mutex>
#include <set>
#include <string>

namespace VrelRig {

/** The devices that an operation is working on at the moment; one operation a device. Safe for any thread. */
class DeviceClaims
{
public:
    void take(std::string const& serial);
    void giveBack(std::string const& serial);

private:
    std::mutex m_mutex;
    std::set<std::string> m_busy;
};

/** One device claimed for the lifetime of the object. */
class DeviceClaim
{
public:
    /** @throws RigError when another operation has the device */
    DeviceClaim(DeviceClaims& claims, std::string serial);
    ~DeviceClaim();
    DeviceClaim(DeviceClaim const&) = delete;
    DeviceClaim& operator=(DeviceClaim const&) = delete;

private:
    DeviceClaims& m_claims;
    std::string m_serial;
};

} // namespace VrelRig
