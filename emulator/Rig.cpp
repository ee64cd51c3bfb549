#include "emulator/Rig.h"

#include "emulator/RigDevices.h"
#include "emulator/Text.h"

#include <QByteArray>

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <thread>

namespace VrelRig {

namespace {

constexpr char const* kMarker = ".vrel-rig";
constexpr char const* kMarkerContent = "A rig of emulated devices. This file makes it one; leave it alone.\n";

/**
 * Opens the marker of a rig; in an empty directory it is made with `flags` O_CREAT, else left unopened.
 * @throws RigError when the directory is neither empty nor a rig
 */
FileDescriptor openMarker(Directory const& root, int flags = 0)
{
    auto const names = root.names();
    bool const isThere = std::binary_search(names.begin(), names.end(), kMarker);
    if (!isThere && !names.empty())
        throw RigError(inQuotes(root.path()) + " is not empty and not a rig: it has no file '" + kMarker +
                       "'");
    return isThere || flags != 0 ? root.openFile(kMarker, O_RDWR | flags) : FileDescriptor();
}

bool isAlone(Directory const& root)
{
    return root.names() == std::vector<std::string>{kMarker};
}

/** @return whether the rig was begun, and not only its marker. @throws RigError for a foreign file */
bool isBegun(Directory const& root, FileDescriptor const& marker)
{
    if (marker.get() < 0)
        return false;
    auto const content = InputFile(marker, root.path(kMarker), kMebibyte).content();
    if (content.empty() && isAlone(root))
        return false;
    if (content == kMarkerContent)
        return true;
    throw RigError(inQuotes(root.path()) + " is not a rig: the emulator did not write its file '" + kMarker +
                   "'");
}

/** Takes (F_WRLCK) or ends (F_UNLCK) the hold. @return whether the rig was free */
bool setLock(FileDescriptor const& marker, short type)
{
    struct flock lock = {type, SEEK_SET, 0, 0, 0};
    return ::fcntl(marker.get(), F_OFD_SETLK, &lock) == 0;
}

/** @return whether another process has the rig */
bool isHeld(FileDescriptor const& marker)
{
    struct flock lock = {F_WRLCK, SEEK_SET, 0, 0, 0};
    return ::fcntl(marker.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

/** @return the marker, locked for this process */
FileDescriptor takeMarker(Directory const& root)
{
    constexpr std::chrono::seconds kPatience(10); // far longer than a rig takes to make
    constexpr std::chrono::milliseconds kInterval(5);
    auto const end = std::chrono::steady_clock::now() + kPatience;
    for (;; std::this_thread::sleep_for(kInterval)) {
        auto const marker = openMarker(root, O_CREAT);
        bool const isFree = setLock(marker, F_WRLCK);
        if (isFree && marker.status().st_nlink > 0) // and was not removed by a maker that failed
            return marker;
        // Until there are devices, the other one may be making the rig.
        if (!isFree && (root.has(kDevices) || std::chrono::steady_clock::now() >= end))
            throw RigError("Another process holds the rig " + inQuotes(root.path()));
    }
}

/** @return the root of a rig that has been made */
Directory existingRig(std::string const& path)
{
    Directory root(path);
    if (!isBegun(root, openMarker(root)))
        throw RigError(inQuotes(path) + " is empty and not a rig");
    return root;
}

/** @return the device's directory. @throws RigError unless it lies in `from` alone */
Directory deviceToMove(Directory const& from, Directory const& to, std::string const& serial,
                       char const* state)
{
    if (isSerial(serial) && to.has(serial))
        throw RigError("The device " + inQuotes(serial) + " is " + state + " already");
    if (!isSerial(serial) || !from.has(serial))
        throw RigError("The rig has no device " + inQuotes(serial));
    return from.open(serial);
}

/** The process's hold on the rig, shared and counted. */
struct Hold
{
    std::vector<std::shared_ptr<Rig>> holds;
    std::weak_ptr<Rig> rig; ///< outlives the holds while an operation is still running
    pid_t owner = 0;
};

std::mutex s_mutex;
Hold s_hold;

/** A forked child copies its parent's state but not its hold. */
Hold& ownHold()
{
    if (s_hold.owner != ::getpid())
        s_hold = {{}, {}, ::getpid()};
    return s_hold;
}

} // namespace

Rig::Rig(std::string const& path, std::vector<DeviceDescription> const& newDevices)
    : m_owner(::getpid())
{
    std::error_code error;
    bool const isNewDirectory = std::filesystem::create_directories(path, error);
    if (error)
        failTo("make directory", path, error.message());
    bool wasBegun = true;
    try {
        m_root = Directory(path);
        m_marker = takeMarker(m_root);
        wasBegun = isBegun(m_root, m_marker);
        if (!wasBegun)
            m_marker.write(kMarkerContent, m_root.path(kMarker));
        m_workplaces = m_root.make(kTemporary);
        m_workplace = "rig-" + std::to_string(m_marker.status().st_ino); // this rig's, and nobody else's
        removeLeftovers();
        m_root.useWorkplace(m_workplaces.make(m_workplace));
        complete(newDevices);
    } catch (RigError const&) { // may have filled the disk
        removeLeftovers();
        if (!wasBegun) {
            m_root.removeEmpty(kTemporary);
            if (isAlone(m_root))
                m_root.remove(kMarker);
        }
        if (isNewDirectory)
            ::rmdir(path.c_str());
        throw;
    }
}

Rig::~Rig()
{
    // Closing alone would not end the lock while a forked child still has a copy of the descriptor.
    if (::getpid() == m_owner) {
        m_workplaces.removeEmpty(m_workplace);
        setLock(m_marker, F_UNLCK);
    }
}

Directory Rig::devices() const
{
    return m_root.open(kDevices);
}

std::string Rig::select(std::string const& serial) const
{
    if (isSerial(serial) && devices().hasDirectory(serial))
        return serial;
    if (!serial.empty())
        throw RigError("No device with serial number " + inQuotes(serial));
    auto const known = serialsIn(devices());
    if (known.size() != 1)
        throw RigError(known.empty() ? "The rig holds no device"
                                     : "The rig holds several devices: give a serial number to name one");
    return known.front();
}

std::shared_ptr<void> Rig::claim(std::string const& serial)
{
    std::unique_lock lock(m_mutex);
    auto const [claimed, isFree] = m_busy.insert(serial);
    if (!isFree)
        throw RigError("Device " + inQuotes(serial) + " is busy with another operation");
    lock.unlock(); // without memory for the claim it ends at once
    return {nullptr, [this, device = claimed](void*) {
                std::lock_guard const endLock(m_mutex);
                m_busy.erase(device);
            }};
}

void Rig::removeLeftovers() const
{
    if (!m_workplace.empty() && m_workplaces.has(m_workplace))
        m_workplaces.removeTree(m_workplace);
}

/**
 * Makes devices and USB tree where they are missing, in a rig that is new or whose maker was killed. The
 * devices come last: with them it is a rig.
 */
void Rig::complete(std::vector<DeviceDescription> const& newDevices)
{
    auto const parts = m_workplaces.open(m_workplace);
    m_isNew = !m_root.has(kDevices);
    bool const isTreeNew = !m_root.has(kUsbTree);
    if (m_isNew)
        makeDevices(parts.make(kDevices), newDevices);
    if (m_isNew || isTreeNew)
        makeUsbTree(isTreeNew ? parts.make(kUsbTree) : m_root.open(kUsbTree),
                    m_isNew ? parts.open(kDevices) : devices());
    if (isTreeNew)
        parts.rename(kUsbTree, m_root, kUsbTree);
    if (m_isNew)
        parts.rename(kDevices, m_root, kDevices);
    for (auto const* const part : {kDevices, kUsbTree})
        m_root.open(part);
}

void createRig(std::string const& path, std::vector<DeviceDescription> const& devices)
{
    if (!Rig(path, devices).isNew())
        throw RigError(inQuotes(path) + " is not empty");
}

std::string checkRig(std::string const& path)
{
    std::string const canBeMade = "There is no rig in " + inQuotes(path) + " yet; it can be made";
    std::filesystem::path nearest = path;
    std::error_code error;
    while (!nearest.empty() && symlink_status(nearest, error).type() == std::filesystem::file_type::not_found)
        nearest = nearest.parent_path();
    if (nearest != path) {
        Directory(nearest.empty() ? "." : nearest.string()).requireWritable();
        return canBeMade;
    }
    Directory const root(path);
    auto const marker = openMarker(root);
    if (isHeld(marker))
        throw RigError("Another process holds the rig " + inQuotes(path));
    bool const isMade = isBegun(root, marker) && root.has(kDevices);
    (root.has(kTemporary) ? root.open(kTemporary) : root).requireWritable();
    for (auto const* const part : {kDevices, kUsbTree}) {
        if (root.has(part))
            root.open(part);
        else
            root.requireWritable();
    }
    return isMade ? "The rig " + inQuotes(path) + " can be used; devices plugged in: " +
                        std::to_string(serialsIn(root.open(kDevices)).size())
                  : canBeMade;
}

void plugDevice(std::string const& path, std::string const& serial)
{
    auto const root = existingRig(path);
    auto const devices = root.open(kDevices);
    auto const unplugged = root.make(kUnplugged);
    auto const device = deviceToMove(unplugged, devices, serial, "plugged in");
    // The tree's links come first and go last: as long as the device is not there, they lead nowhere.
    if (root.has(kUsbTree))
        addToUsbTree(root.open(kUsbTree), serial, locationOf(device));
    unplugged.rename(serial, devices, serial);
}

void unplugDevice(std::string const& path, std::string const& serial)
{
    auto const root = existingRig(path);
    auto const devices = root.open(kDevices);
    auto const unplugged = root.make(kUnplugged);
    deviceToMove(devices, unplugged, serial, "unplugged");
    // Opened first: where it cannot be, the device stays.
    auto const tree = root.has(kUsbTree) ? std::make_optional(root.open(kUsbTree)) : std::nullopt;
    devices.rename(serial, unplugged, serial);
    if (tree)
        removeFromUsbTree(*tree, serial);
}

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
        throw RigError("There is no directory for the rig: set VREL_RIG or HOME");
    return home + "/.local/state/vrel/rig";
}

void takeRig()
{
    std::lock_guard const lock(s_mutex);
    auto& hold = ownHold();
    auto rig = hold.rig.lock();
    if (!rig)
        hold.rig = rig = std::make_shared<Rig>(configuredRoot(), standardDevices());
    hold.holds.push_back(std::move(rig));
}

void giveRigBack()
{
    std::lock_guard const lock(s_mutex);
    auto& holds = ownHold().holds;
    if (!holds.empty())
        holds.pop_back();
}

std::shared_ptr<Rig> heldRig()
{
    std::lock_guard const lock(s_mutex);
    auto const& holds = ownHold().holds;
    if (holds.empty())
        throw RigError("The rig is not held: acquire the API first");
    return holds.back();
}

} // namespace VrelRig
