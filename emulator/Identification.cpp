#include "emulator/Identification.h"

#include "emulator/CallerArgument.h"

#include <algorithm>
#include <cstring>

namespace VrelRig::Identification {

namespace {

template <std::size_t N>
void copyBytes(JsonFile const& description, char const* key, std::uint8_t (&target)[N])
{
    auto const bytes = description.bytes(key, N);
    std::memcpy(target, bytes.data(), N);
}

} // namespace

void identify(RigDevice const& device, IdAnswers const& answers)
{
    auto& uniqueId = required(answers.uniqueId, "place for the unique platform ID");
    auto& response = required(answers.response, "place for the response record");
    auto const description = device.description();
    required(answers.oemId, "place for the OEM ID") = description.number("oemId");
    required(answers.responseFlags, "place for the response flags") = description.number("responseFlags");
    copyBytes(description, "uniqueId", uniqueId.bytes);
    copyBytes(description, "responseHeader", response.header);
    copyBytes(description, "imageErrors", response.imageErrors);
    std::fill(std::begin(response.rest), std::end(response.rest), std::uint8_t(0));
}

void tokenPid(RigDevice const& device, TokenPidAnswers const& answers)
{
    auto const description = device.description();
    copyBytes(description, "partId", required(answers.partId, "place for the part ID").bytes);
    required(answers.nonce, "place for the nonce") = description.number("nonce");
    required(answers.trustedTime, "place for the trusted time") = description.number("trustedTime");
    required(answers.deviceId, "place for the device ID") = description.number("deviceId");
    required(answers.oemId, "place for the OEM ID") = description.number("oemId");
}

void currentOperation(RigDevice const& device, std::uint32_t* operation, std::uint32_t* context)
{
    auto const description = device.description();
    required(operation, "place for the operation") = description.number("operation");
    required(context, "place for the operation's context") = description.number("operationContext");
}

} // namespace VrelRig::Identification
