#pragma once

#include "emulator/Operation.h"

#include "external/IVrelAPI.h"

/** What a device tells of itself, and what has been done to it, in its files. */
namespace VrelRig::Records {

/** Records a recovery download: not the module itself, but its name, size and digest. */
void downloadRecovery(Operation const& operation, VrelIfpRecord const& ifp);

/** Records a firmware and OS download: firmware image, OS recovery module and OS image, null or empty without
 * OS */
void downloadFwOs(Operation const& operation, char const* const (&files)[3], std::uint32_t flags);

/**
 * Stores a file that the device is provisioned with, 1 byte to 16 MiB, in place of the last one of its kind,
 * and counts it. `title` is the kind as it appears in messages.
 */
void provision(Operation const& operation, std::string const& kind, char const* title, char const* path);

/**
 * Moves the device to the lifecycle stage that the token's text names: development, manufacturing, production
 * or decommissioned. @throws RigError unless the stage is a later one than the device's
 */
void advanceLifecycle(Operation const& operation, char const* tokenPath);

/** Stores the file's bytes, 1 byte to 1 MiB, in one of the slots 0 to 15. An empty file is an empty slot. */
void writeToken(Operation const& operation, std::uint8_t slot, char const* tokenPath);

/** Writes the slot's bytes to a file. @throws RigError for an empty slot, as eraseToken() does */
void readToken(Operation const& operation, std::uint8_t slot, char const* targetPath);

void eraseToken(Operation const& operation, std::uint8_t slot);

/** Tells what the device answers to an identification. Null places for answers give a RigError. */
void identify(Operation const& operation, std::uint32_t flags, std::uint32_t* oemId, VrelPlatformId* uniqueId,
              std::uint32_t* responseFlags, VrelIdResponse* response);

} // namespace VrelRig::Records
