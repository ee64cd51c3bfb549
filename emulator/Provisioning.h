#pragma once

#include "emulator/OperationLog.h"
#include "emulator/RigDevice.h"

/** The files a device is provisioned with; each kind holds the last file and the number of times. */
namespace VrelRig::Provisioning {

/** A kind of provisioning file. */
struct Kind
{
    char const* name;  ///< prefix of the files in the device's directory `provisioning`
    char const* title; ///< as it appears in messages
};

constexpr Kind kOemIfp = {"oem-ifp", "OEM IFP block"};
constexpr Kind kOemKeyManifest = {"oem-key-manifest", "OEM key manifest"};
constexpr Kind kCapabilities = {"capabilities", "capabilities file"};

/** Stores the file, 1 byte to 16 MiB, in place of the last one of its kind. */
void store(RigDevice const& device, Kind const& kind, char const* path, OperationLog const& log);

} // namespace VrelRig::Provisioning
