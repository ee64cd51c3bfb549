#include "emulator/Rig.h"

#include "emulator/Devices.h"
#include "emulator/RigMarker.h"
#include "emulator/Text.h"
#include "emulator/UsbTree.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <thread>

namespace VrelRig {

namespace {

/** @return whether the directory was not there */
bool makeDirectory(std::string const& path)
{
    std::error_code error;
    bool const isNew = std::filesystem::create_directories(path, error);
    if (error)
        failTo("make directory", path, error.message());
    return isNew;
}

/** @return the marker, locked for this process */
FileDescriptor takeMarker(Directory const& root)
{
    constexpr std::chrono::seconds kPatience(10); // far longer than a rig takes to make
    constexpr std::chrono::milliseconds kInterval(5);
    auto const end = std::chrono::steady_clock::now() + kPatience;
    for (;; std::this_thread::sleep_for(kInterval)) {
        auto const marker = RigMarker::open(root, O_CREAT);
        bool const isFree = RigMarker::lock(marker);
        if (isFree && marker.status().st_nlink > 0) // and was not removed by a maker that failed
            return marker;
        // Until there are devices, the other one may be making the rig.
        if (!isFree && (root.has(kDevices) || std::chrono::steady_clock::now() >= end))
            throw RigError("Another process holds the rig " + inQuotes(root.path()));
    }
}

} // namespace

Directory openRigRoot(std::string const& path)
{
    Directory root(path);
    root.useWorkshop(root, {});
    return root;
}

Rig::Rig(std::string const& path, std::vector<DeviceDescription> const& newDevices)
    : m_owner(::getpid())
{
    bool const isNewDirectory = makeDirectory(path);
    bool isBegun = true;
    try {
        m_root = openRigRoot(path);
        m_marker = takeMarker(m_root);
        isBegun = RigMarker::isBegun(m_root, m_marker);
        if (!isBegun)
            RigMarker::begin(m_root, m_marker);
        m_workplace = m_root.make(kTemporary);
        m_prefix = RigMarker::prefix(m_marker);
        m_root.useWorkshop(m_workplace, m_prefix);
        removeLeftovers();
        complete(newDevices);
    } catch (RigError const&) { // may have filled the disk
        removeLeftovers();
        if (!isBegun) {
            m_root.removeEmpty(kTemporary);
            RigMarker::removeIfAlone(m_root);
        }
        if (isNewDirectory)
            ::rmdir(path.c_str());
        throw;
    }
}

Rig::~Rig()
{
    // Closing alone would not end the lock while a forked child still has a copy of the descriptor.
    if (::getpid() == m_owner)
        RigMarker::unlock(m_marker);
}

Directory Rig::devices() const
{
    return m_root.open(kDevices);
}

std::string Rig::select(std::string const& serial) const
{
    auto const known = serialsIn(devices());
    if (serial.empty() && known.size() == 1)
        return known.front();
    if (serial.empty())
        throw RigError(known.empty() ? "The rig holds no device"
                                     : "The rig holds several devices: give a serial number to name one");
    if (!std::binary_search(known.begin(), known.end(), serial))
        throw RigError("No device with serial number " + inQuotes(serial));
    return serial;
}

std::shared_ptr<void> Rig::claim(std::string const& serial)
{
    std::lock_guard const lock(m_mutex);
    if (!m_busy.insert(serial).second)
        throw RigError("Device " + inQuotes(serial) + " is busy with another operation");
    return {nullptr, [this, serial](void*) {
                std::lock_guard const endLock(m_mutex);
                m_busy.erase(serial);
            }};
}

void Rig::removeLeftovers() const
{
    auto const names = m_prefix.empty() ? std::vector<std::string>() : m_workplace.names();
    for (auto const& name : names) {
        if (name.rfind(m_prefix, 0) == 0)
            m_workplace.removeTree(name);
    }
}

/**
 * Makes devices and USB tree where they are missing, in a rig that is new or whose maker was killed. The
 * devices come last: with them it is a rig.
 */
void Rig::complete(std::vector<DeviceDescription> const& newDevices)
{
    m_isNew = !m_root.has(kDevices);
    bool const isTreeNew = !m_root.has(kUsbTree);
    if (m_isNew || isTreeNew) {
        auto const name = m_prefix + "new";
        auto const parts = m_workplace.make(name);
        if (m_isNew)
            makeDevices(parts.make(kDevices), newDevices);
        UsbTree::make(isTreeNew ? parts.make(kUsbTree) : m_root.open(kUsbTree),
                      m_isNew ? parts.open(kDevices) : devices());
        if (isTreeNew)
            parts.rename(kUsbTree, m_root, kUsbTree);
        if (m_isNew)
            parts.rename(kDevices, m_root, kDevices);
        m_workplace.removeTree(name);
    }
    for (auto const* const part : {kDevices, kUsbTree})
        m_root.open(part);
}

} // namespace VrelRig
