#include "emulator/Identification.h"

#include "emulator/Devices.h"
#include "emulator/JsonFile.h"

#include <algorithm>

namespace VrelRig::Identification {

namespace {

template <std::size_t N>
void copyBytes(JsonFile const& description, char const* key, std::uint8_t (&target)[N])
{
    auto const bytes = description.bytes(key, N);
    std::copy(bytes.begin(), bytes.end(), target);
}

} // namespace

void identify(Operation const& operation, std::uint32_t flags, std::uint32_t* oemId, VrelPlatformId* uniqueId,
              std::uint32_t* responseFlags, VrelIdResponse* response)
{
    operation.info("Identifying the device, flags " + std::to_string(flags));
    JsonFile const description(operation.device, kDescription);
    required(oemId, "place for the OEM ID") = description.number("oemId");
    required(responseFlags, "place for the response flags") = description.number("responseFlags");
    copyBytes(description, "uniqueId", required(uniqueId, "place for the unique platform ID").bytes);
    required(response, "place for the response record") = {};
    copyBytes(description, "responseHeader", response->header);
    copyBytes(description, "imageErrors", response->imageErrors);
}

void tokenPid(Operation const& operation, VrelTokenPartId* partId, std::uint32_t* nonce,
              std::uint32_t* trustedTime, std::uint32_t* deviceId, std::uint32_t* oemId)
{
    JsonFile const description(operation.device, kDescription);
    copyBytes(description, "partId", required(partId, "place for the part ID").bytes);
    required(nonce, "place for the nonce") = description.number("nonce");
    required(trustedTime, "place for the trusted time") = description.number("trustedTime");
    required(deviceId, "place for the device ID") = description.number("deviceId");
    required(oemId, "place for the OEM ID") = description.number("oemId");
}

void currentOperation(Operation const& operation, std::uint32_t* current, std::uint32_t* context)
{
    JsonFile const description(operation.device, kDescription);
    required(current, "place for the operation") = description.number("operation");
    required(context, "place for the operation's context") = description.number("operationContext");
}

} // namespace VrelRig::Identification
