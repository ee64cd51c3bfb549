#pragma once

#include "framework/LogSink.h"
#include "tools/common/VendorApi.h"
#include "tools/vrelhost/runs/RunOptions.h"

#include <vector>

/**
 * The devices that a command line names, each once: all listed ones in the order of their paths, then the
 * others in the order given.
 * Throws Refusal when one of them cannot be found or told from another.
 * @param list of the vendor API; empty when it is not needed
 */
std::vector<DeviceName> selectDevices(RunOptions const& options, VendorApi::DeviceList const& list);

/** Why a listed device cannot be named to the vendor API, as a sentence without its end; empty when it can.
 */
QString namingFault(VendorApi::DeviceList::value_type const& device, VendorApi::DeviceList const& list);

/** Those of the devices that the options name which are not listed and, when named by serial number, not
 *  hidden by a full list either. */
QStringList unlisted(RunOptions const& options, VendorApi::DeviceList const& list);

/** Throws Refusal for a device that the vendor API does not list, unless there may be more than it tells. */
void requireListed(std::vector<DeviceName> const& devices, VendorApi::DeviceList const& list);
