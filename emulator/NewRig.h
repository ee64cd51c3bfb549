#pragma once

#include "emulator/Files.h"

#include <QStringList>

#include <cstdint>
#include <string>
#include <vector>

/** What new rigs hold, made of the templates in the folder `newrig`. The same descriptions always give the
 * same devices. */
namespace VrelRig {

/** A device to be made. */
struct DeviceDescription
{
    std::string serial; ///< 1 to 127 bytes, also the name of a directory
    std::string path;   ///< USB path, "1-4.2"
    std::uint16_t product;
    std::vector<std::string> storages; ///< names of their directories, "emmc-0"
};

/** @return the two devices of a rig that is made when there is none */
std::vector<DeviceDescription> standardDevices();

/**
 * Fills a directory with the devices.
 * @throws RigError also for serials or paths that are malformed or occur twice
 */
void makeDevices(Directory const& directory, std::vector<DeviceDescription> const& devices);

/** Makes a USB entry's files as a template lists them, with %1, %2, ... replaced by the texts. */
void makeUsbEntry(Directory const& entry, char const* list, QStringList const& texts = {});

} // namespace VrelRig
