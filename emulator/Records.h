#pragma once

#include "emulator/Operation.h"

#include "external/IVrelAPI.h"

/** What has been done to a device, kept in its files. */
namespace VrelRig::Records {

/** Records a recovery download: not the module itself, but its name, size and digest. */
void downloadRecovery(Operation const& operation, InputFile const& module, VrelIfpRecord const& ifp);

/** Records a firmware and OS download: firmware image, OS recovery module and OS image, null or empty without
 * OS */
void downloadFwOs(Operation const& operation, InputFile const& module, char const* const (&files)[3],
                  std::uint32_t flags);

/** Counts a start-over and records its flags. */
void countStartOver(Operation const& operation, std::uint32_t flags);

/** A kind of file that a device is provisioned with. */
struct Provision
{
    char const* name;  ///< prefix of the files in the device's directory `provisioning`
    char const* title; ///< as it appears in messages
};

constexpr Provision kOemIfp = {"oem-ifp", "OEM IFP block"};
constexpr Provision kOemKeyManifest = {"oem-key-manifest", "OEM key manifest"};
constexpr Provision kCapabilities = {"capabilities", "capabilities file"};

/** Stores the file, 1 byte to 16 MiB, in place of the last one of its kind, and counts it. */
void provision(Operation const& operation, Provision const& kind, char const* path);

/**
 * Moves the device to the lifecycle stage that the token's text names: development, manufacturing, production
 * or decommissioned. @throws RigError unless the stage is a later one than the device's
 */
void advanceLifecycle(Operation const& operation, char const* tokenPath);

} // namespace VrelRig::Records
