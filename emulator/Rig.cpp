#include "emulator/Rig.h"

#include "emulator/FileSystem.h"
#include "emulator/RigError.h"
#include "emulator/RigLayout.h"

#include <algorithm>

namespace VrelRig {

namespace {

/** @return the root's lock file; a directory that is no rig must not get one */
std::string lockPath(std::string const& root)
{
    if (!isDirectory(root + RigLayout::kDevices))
        throw RigError(quoted(root) + " is no rig: it has no directory 'devices'");
    return root + RigLayout::kLock;
}

} // namespace

Rig::Rig(std::string const& root)
    : m_root(root)
    , m_lock(lockPath(root), LockFile::Kind::file)
{
    auto const temporary = m_root + RigLayout::kTemporary;
    makeDirectories(temporary);
    for (auto const& leftover : directoryEntries(temporary)) {
        auto path = temporary;
        removeTree(path.append("/").append(leftover));
    }
}

std::vector<std::string> Rig::serials() const
{
    auto const devices = m_root + RigLayout::kDevices;
    auto names = directoryEntries(devices);
    auto const isNoDevice = [&](std::string const& name) {
        return name.front() == '.' || !isDirectory(devices + '/' + name);
    };
    names.erase(std::remove_if(names.begin(), names.end(), isNoDevice), names.end());
    return names;
}

std::string Rig::select(std::string const& serial) const
{
    auto const known = serials();
    if (serial.empty() && known.size() == 1)
        return known.front();
    if (serial.empty())
        throw RigError(known.empty() ? "The rig holds no device"
                                     : "The rig holds several devices: give a serial number to name one");
    if (std::find(known.begin(), known.end(), serial) == known.end())
        throw RigError("No device with serial number " + quoted(serial));
    return serial;
}

std::string Rig::devicePath(std::string const& serial) const
{
    return m_root + RigLayout::kDevices + '/' + serial;
}

OutputFile Rig::replace(std::string const& path) const
{
    return OutputFile::inRig(path, m_root + RigLayout::kTemporary);
}

void Rig::store(std::string const& path, std::string_view content) const
{
    auto file = replace(path);
    file.write(content);
    file.commit();
}

} // namespace VrelRig
