#pragma once

#include "emulator/Operation.h"

#include "external/IVrelAPI.h"

/** What a device answers about itself, from its description. Null places for answers give a RigError. */
namespace VrelRig::Identification {

void identify(Operation const& operation, std::uint32_t flags, std::uint32_t* oemId, VrelPlatformId* uniqueId,
              std::uint32_t* responseFlags, VrelIdResponse* response);

/** Tells what a token is made for. */
void tokenPid(Operation const& operation, VrelTokenPartId* partId, std::uint32_t* nonce,
              std::uint32_t* trustedTime, std::uint32_t* deviceId, std::uint32_t* oemId);

/** Tells the operation under way and its context. */
void currentOperation(Operation const& operation, std::uint32_t* current, std::uint32_t* context);

} // namespace VrelRig::Identification
