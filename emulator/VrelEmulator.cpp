#include "emulator/VrelEmulator.h"

#include "emulator/CallerArgument.h"
#include "emulator/CardInfo.h"
#include "emulator/DeviceList.h"
#include "emulator/FirmwareRecords.h"
#include "emulator/Identification.h"
#include "emulator/LifecycleStage.h"
#include "emulator/OperationRunner.h"
#include "emulator/Provisioning.h"
#include "emulator/StorageDevice.h"
#include "emulator/TokenSlots.h"

#include <cstring>

namespace VrelRig {

namespace {

constexpr char kVersion[] = "1.0.0-emulator";

/** Every operation behind the recovery module needs one that could be sent to the device. */
InputFile recoveryModule(char const* path)
{
    return openCallerFile(path, "recovery module");
}

int runBehindModule(OperationCall const& call, char const* modulePath,
                    std::function<void(RigDevice const&, OperationLog const&)> const& work)
{
    return runOnDevice(call, [&](RigDevice const& device, OperationLog const& log) {
        auto const module = recoveryModule(modulePath);
        log.sent("recovery module of " + std::to_string(module.size()) + " bytes");
        work(device, log);
    });
}

} // namespace

void VrelEmulator::getApiVersion(VrelApiVersionRecord* version)
{
    if (version == nullptr)
        return;
    *version = {};
    std::memcpy(version->versionText, kVersion, sizeof(kVersion));
    version->textLength = -1;
}

int VrelEmulator::listDevices(VrelDeviceList* devices, char* errorText)
{
    return runOnRig({__func__, nullptr, errorText, nullptr, nullptr}, [&](Rig const& rig) {
        VrelRig::listDevices(rig, required(devices, "place for the device list"));
    });
}

int VrelEmulator::idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oemId,
                           VrelPlatformId* uniqueId, std::uint32_t* responseFlags, VrelIdResponse* response,
                           char const* serial, char* errorText, VrelApiLogCallback log, void* context)
{
    return runOnDevice({__func__, serial, errorText, log, context}, [&](auto const& device, auto const& out) {
        required(ifp, "IFP record");
        out.info("Identifying the device, flags " + std::to_string(flags));
        Identification::identify(device, {oemId, uniqueId, responseFlags, response});
    });
}

int VrelEmulator::idDeviceIfpFile(std::uint32_t flags, char const* ifpPath, std::uint32_t* oemId,
                                  VrelPlatformId* uniqueId, std::uint32_t* responseFlags,
                                  VrelIdResponse* response, char const* serial, char* errorText,
                                  VrelApiLogCallback log, void* context)
{
    return runOnDevice({__func__, serial, errorText, log, context}, [&](auto const& device, auto const& out) {
        openCallerFile(ifpPath, "IFP file");
        out.info("Identifying the device, flags " + std::to_string(flags));
        Identification::identify(device, {oemId, uniqueId, responseFlags, response});
    });
}

int VrelEmulator::startOver(std::uint32_t* flags, std::uint32_t* operation, std::uint32_t* operationContext,
                            char const* serial, char* errorText, VrelApiLogCallback log, void* context)
{
    return runOnDevice({__func__, serial, errorText, log, context}, [&](auto const& device, auto const& out) {
        auto const given = required(flags, "flags");
        Identification::currentOperation(device, operation, operationContext);
        FirmwareRecords::countStartOver(device, given);
        out.info("The device starts over");
    });
}

int VrelEmulator::fwRecovery(char const* modulePath, char const* serial, VrelIfpRecord* ifp, char* errorText,
                             VrelApiLogCallback log, void* context)
{
    return runOnDevice({__func__, serial, errorText, log, context}, [&](auto const& device, auto const& out) {
        auto const module = recoveryModule(modulePath);
        FirmwareRecords::downloadRecovery(device, module, required(ifp, "IFP record"), out);
    });
}

int VrelEmulator::downloadFwOs(char const* modulePath, char const* fwImagePath, std::uint32_t* flags,
                               char const* osModulePath, char const* osImagePath, char const* serial,
                               char* errorText, VrelApiLogCallback log, void* context)
{
    return runOnDevice({__func__, serial, errorText, log, context}, [&](auto const& device, auto const& out) {
        auto const module = recoveryModule(modulePath);
        FirmwareRecords::downloadFwOs(device, module, {fwImagePath, osModulePath, osImagePath},
                                      required(flags, "flags"), out);
    });
}

int VrelEmulator::getTokenPid(char const* modulePath, std::uint32_t flags, VrelTokenPartId* partId,
                              std::uint32_t* nonce, std::uint32_t* trustedTime, std::uint32_t* deviceId,
                              std::uint32_t* oemId, char const* serial, char* errorText,
                              VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath, [&](auto const& device, auto const& out) {
            out.info("Reading what a token is made for, flags " + std::to_string(flags));
            Identification::tokenPid(device, {partId, nonce, trustedTime, deviceId, oemId});
        });
}

int VrelEmulator::writeToken(char const* modulePath, char const* tokenPath, std::uint8_t slot,
                             char const* serial, char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath,
        [&](auto const& device, auto const& out) { TokenSlots(device).write(slot, tokenPath, out); });
}

int VrelEmulator::readToken(char const* modulePath, char const* targetPath, std::uint8_t slot,
                            char const* serial, char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath,
        [&](auto const& device, auto const& out) { TokenSlots(device).read(slot, targetPath, out); });
}

int VrelEmulator::eraseToken(char const* modulePath, std::uint8_t slot, char const* serial, char* errorText,
                             VrelApiLogCallback log, void* context)
{
    return runBehindModule({__func__, serial, errorText, log, context}, modulePath,
                           [&](auto const& device, auto const& out) { TokenSlots(device).erase(slot, out); });
}

int VrelEmulator::setDeviceLifecycleStage(char const* modulePath, char const* tokenPath, char const* serial,
                                          char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath,
        [&](auto const& device, auto const& out) { advanceLifecycleStage(device, tokenPath, out); });
}

int VrelEmulator::oemIfpProvision(char const* modulePath, char const* ifpBlockPath, char const* serial,
                                  char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule({__func__, serial, errorText, log, context}, modulePath,
                           [&](auto const& device, auto const& out) {
                               Provisioning::store(device, Provisioning::kOemIfp, ifpBlockPath, out);
                           });
}

int VrelEmulator::downloadOemKeyManifest(char const* modulePath, char const* manifestPath, char const* serial,
                                         char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule({__func__, serial, errorText, log, context}, modulePath,
                           [&](auto const& device, auto const& out) {
                               Provisioning::store(device, Provisioning::kOemKeyManifest, manifestPath, out);
                           });
}

int VrelEmulator::setCapabilities(char const* modulePath, char const* capabilitiesPath, char const* serial,
                                  char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath, [&](auto const& device, auto const& out) {
            Provisioning::store(device, Provisioning::kCapabilities, capabilitiesPath, out);
        });
}

int VrelEmulator::clearRpmb(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                            char const* serial, char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule({__func__, serial, errorText, log, context}, modulePath,
                           [&](auto const& device, auto const& out) {
                               StorageDevice(device, deviceType, deviceIndex).clearRpmb(out);
                           });
}

int VrelEmulator::configPartitions(char const* modulePath, char const* configPath, std::uint8_t deviceType,
                                   std::uint8_t deviceIndex, char const* serial, char* errorText,
                                   VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath, [&](auto const& device, auto const& out) {
            StorageDevice(device, deviceType, deviceIndex).configurePartitions(configPath, out);
        });
}

int VrelEmulator::readBootMedia(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                                VrelReadRegion* region, char const* targetPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule({__func__, serial, errorText, log, context}, modulePath,
                           [&](auto const& device, auto const& out) {
                               StorageDevice(device, deviceType, deviceIndex)
                                   .readPartition(required(region, "region"), targetPath, out);
                           });
}

int VrelEmulator::getCardInfo(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                              VrelCardInfo* info, std::uint32_t* size, char const* serial, char* errorText,
                              VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath, [&](auto const& device, auto const& out) {
            StorageDevice const storage(device, required(deviceType, "storage device type"), deviceIndex);
            out.info("Reading card information");
            copyCardInfo(readCardInfo(storage), required(info, "card information buffer"),
                         required(size, "buffer size"));
        });
}

int VrelEmulator::getCardInfoToFile(char const* modulePath, std::uint8_t* deviceType,
                                    std::uint8_t deviceIndex, char const* outputPath, char const* serial,
                                    char* errorText, VrelApiLogCallback log, void* context)
{
    return runBehindModule(
        {__func__, serial, errorText, log, context}, modulePath, [&](auto const& device, auto const& out) {
            StorageDevice const storage(device, required(deviceType, "storage device type"), deviceIndex);
            out.info("Reading card information");
            auto output = OutputFile::outside(requiredText(outputPath, "output file"));
            output.write(readCardInfo(storage));
            output.commit();
        });
}

} // namespace VrelRig
