#pragma once

#include "emulator/RigDevice.h"

#include "external/IVrelAPI.h"

/** What a device answers about itself, from its description. Null places for answers give a RigError. */
namespace VrelRig::Identification {

/** Places for the answers of an identification. */
struct IdAnswers
{
    std::uint32_t* oemId;
    VrelPlatformId* uniqueId;
    std::uint32_t* responseFlags;
    VrelIdResponse* response;
};

/** Places for what a token is made for. */
struct TokenPidAnswers
{
    VrelTokenPartId* partId;
    std::uint32_t* nonce;
    std::uint32_t* trustedTime;
    std::uint32_t* deviceId;
    std::uint32_t* oemId;
};

void identify(RigDevice const& device, IdAnswers const& answers);

void tokenPid(RigDevice const& device, TokenPidAnswers const& answers);

/** Tells the operation under way and its context. */
void currentOperation(RigDevice const& device, std::uint32_t* operation, std::uint32_t* context);

} // namespace VrelRig::Identification
