#include "tests/support/FakeApi.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>

namespace {

std::string shown(char const* text)
{
    return text == nullptr ? "null" : '"' + std::string(text) + '"';
}

std::string shown(std::uint32_t number)
{
    return std::to_string(number);
}

std::string shown(std::uint32_t const* number)
{
    return number == nullptr ? "null" : '*' + std::to_string(*number);
}

std::string shown(std::uint8_t const* number)
{
    return number == nullptr ? "null" : '*' + std::to_string(*number);
}

template <typename Record>
std::string shown(Record const* record)
{
    return QByteArray(reinterpret_cast<char const*>(record), sizeof *record).toHex().toStdString();
}

template <typename... Arguments>
std::string showCall(char const* operation, Arguments... arguments)
{
    std::ostringstream text;
    char const* separator = "";
    text << operation << '(';
    ((text << separator << shown(arguments), separator = ", "), ...);
    text << ')';
    return text.str();
}

} // namespace

FakeApi::FakeApi()
{
    vendorHolds().reset();
    vendorHolds().api = this;
}

FakeApi::~FakeApi()
{
    vendorHolds().api = nullptr;
}

void FakeApi::addDevice(char const* name, std::uint8_t bus, std::vector<std::uint8_t> const& ports)
{
    std::uint32_t const index = devices.count++;
    qstrncpy(devices.names[index], name, sizeof devices.names[index]);
    VrelDeviceLocation& location = devices.locations[index];
    location.bus = bus;
    location.portCount = static_cast<std::int32_t>(ports.size());
    std::copy(ports.begin(), ports.end(), std::begin(location.ports));
}

int FakeApi::answer(std::string call, char* error, VrelApiLogCallback log, void* context)
{
    calls.push_back(std::move(call));
    for (auto const& [level, text] : messages) {
        if (log != nullptr)
            log(level, text, context);
    }
    if (errorText)
        std::memcpy(error, errorText->constData(), static_cast<std::size_t>(errorText->size()));
    return result;
}

void FakeApi::getApiVersion(VrelApiVersionRecord* record)
{
    calls.emplace_back("getApiVersion()");
    *record = version;
}

int FakeApi::listDevices(VrelDeviceList* list, char* error)
{
    *list = devices;
    return answer("listDevices()", error, nullptr, nullptr);
}

VendorHolds& vendorHolds()
{
    static VendorHolds holds;
    return holds;
}

void VendorHolds::reset()
{
    acquired = 0;
    released = 0;
}

IVrelAPI* api_acquire()
{
    ++vendorHolds().acquired;
    return vendorHolds().api;
}

void api_release()
{
    ++vendorHolds().released;
}

void FakeApi::reserved1()
{
    calls.emplace_back("reserved1()");
}

void FakeApi::reserved2()
{
    calls.emplace_back("reserved2()");
}

void FakeApi::reserved8()
{
    calls.emplace_back("reserved8()");
}

void FakeApi::reserved9()
{
    calls.emplace_back("reserved9()");
}

void FakeApi::reserved11()
{
    calls.emplace_back("reserved11()");
}

void FakeApi::reserved12()
{
    calls.emplace_back("reserved12()");
}

void FakeApi::reserved16()
{
    calls.emplace_back("reserved16()");
}

int FakeApi::idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oem, VrelPlatformId* unique,
                      std::uint32_t* respFlags, VrelIdResponse* resp, char const* serial, char* error,
                      VrelApiLogCallback log, void* context)
{
    *oem = oemId;
    *unique = uniqueId;
    *respFlags = responseFlags;
    *resp = response;
    return answer(showCall("idDevice", flags, ifp, serial), error, log, context);
}

int FakeApi::idDeviceIfpFile(std::uint32_t flags, char const* ifp, std::uint32_t* oem, VrelPlatformId* unique,
                             std::uint32_t* respFlags, VrelIdResponse* resp, char const* serial, char* error,
                             VrelApiLogCallback log, void* context)
{
    *oem = oemId;
    *unique = uniqueId;
    *respFlags = responseFlags;
    *resp = response;
    return answer(showCall("idDeviceIfpFile", flags, ifp, serial), error, log, context);
}

int FakeApi::startOver(std::uint32_t* flags, std::uint32_t* op, std::uint32_t* opContext, char const* serial,
                       char* error, VrelApiLogCallback log, void* context)
{
    std::string call = showCall("startOver", flags, op, opContext, serial);
    *op = operation;
    *opContext = operationContext;
    return answer(std::move(call), error, log, context);
}

int FakeApi::fwRecovery(char const* module, char const* serial, VrelIfpRecord* ifp, char* error,
                        VrelApiLogCallback log, void* context)
{
    return answer(showCall("fwRecovery", module, serial, ifp), error, log, context);
}

int FakeApi::downloadFwOs(char const* module, char const* image, std::uint32_t* flags, char const* osModule,
                          char const* osImage, char const* serial, char* error, VrelApiLogCallback log,
                          void* context)
{
    return answer(showCall("downloadFwOs", module, image, flags, osModule, osImage, serial), error, log,
                  context);
}

int FakeApi::eraseToken(char const* module, std::uint8_t slot, char const* serial, char* error,
                        VrelApiLogCallback log, void* context)
{
    return answer(showCall("eraseToken", module, slot, serial), error, log, context);
}

int FakeApi::configPartitions(char const* module, char const* config, std::uint8_t type, std::uint8_t index,
                              char const* serial, char* error, VrelApiLogCallback log, void* context)
{
    return answer(showCall("configPartitions", module, config, type, index, serial), error, log, context);
}

int FakeApi::getTokenPid(char const* module, std::uint32_t flags, VrelTokenPartId* part,
                         std::uint32_t* nonceOut, std::uint32_t* time, std::uint32_t* device,
                         std::uint32_t* oem, char const* serial, char* error, VrelApiLogCallback log,
                         void* context)
{
    std::string call = showCall("getTokenPid", module, flags, part, nonceOut, time, device, oem, serial);
    *part = partId;
    *nonceOut = nonce;
    *time = trustedTime;
    *device = deviceId;
    *oem = oemId;
    return answer(std::move(call), error, log, context);
}

int FakeApi::getCardInfo(char const* module, std::uint8_t* type, std::uint8_t index, VrelCardInfo* info,
                         std::uint32_t* size, char const* serial, char* error, VrelApiLogCallback log,
                         void* context)
{
    std::string call = showCall("getCardInfo", module, type, index, size, serial);
    std::size_t const count = std::min(static_cast<std::size_t>(cardInfo.size()), sizeof info->bytes);
    std::memcpy(info->bytes, cardInfo.constData(), count);
    *size = cardInfoClaim.value_or(static_cast<std::uint32_t>(count));
    return answer(std::move(call), error, log, context);
}

int FakeApi::clearRpmb(char const* module, std::uint8_t type, std::uint8_t index, char const* serial,
                       char* error, VrelApiLogCallback log, void* context)
{
    return answer(showCall("clearRpmb", module, type, index, serial), error, log, context);
}

int FakeApi::writeToken(char const* module, char const* token, std::uint8_t slot, char const* serial,
                        char* error, VrelApiLogCallback log, void* context)
{
    return answer(showCall("writeToken", module, token, slot, serial), error, log, context);
}

int FakeApi::readToken(char const* module, char const* target, std::uint8_t slot, char const* serial,
                       char* error, VrelApiLogCallback log, void* context)
{
    return answer(showCall("readToken", module, target, slot, serial), error, log, context);
}

int FakeApi::setDeviceLifecycleStage(char const* module, char const* token, char const* serial, char* error,
                                     VrelApiLogCallback log, void* context)
{
    return answer(showCall("setDeviceLifecycleStage", module, token, serial), error, log, context);
}

int FakeApi::oemIfpProvision(char const* module, char const* block, char const* serial, char* error,
                             VrelApiLogCallback log, void* context)
{
    return answer(showCall("oemIfpProvision", module, block, serial), error, log, context);
}

int FakeApi::getCardInfoToFile(char const* module, std::uint8_t* type, std::uint8_t index, char const* output,
                               char const* serial, char* error, VrelApiLogCallback log, void* context)
{
    return answer(showCall("getCardInfoToFile", module, type, index, output, serial), error, log, context);
}

int FakeApi::readBootMedia(char const* module, std::uint8_t type, std::uint8_t index, VrelReadRegion* region,
                           char const* target, char const* serial, char* error, VrelApiLogCallback log,
                           void* context)
{
    return answer(showCall("readBootMedia", module, type, index, region, target, serial), error, log,
                  context);
}

int FakeApi::downloadOemKeyManifest(char const* module, char const* manifest, char const* serial, char* error,
                                    VrelApiLogCallback log, void* context)
{
    return answer(showCall("downloadOemKeyManifest", module, manifest, serial), error, log, context);
}

int FakeApi::setCapabilities(char const* module, char const* capabilities, char const* serial, char* error,
                             VrelApiLogCallback log, void* context)
{
    return answer(showCall("setCapabilities", module, capabilities, serial), error, log, context);
}
