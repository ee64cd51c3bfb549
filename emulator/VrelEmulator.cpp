#include "emulator/Devices.h"
#include "emulator/JsonFile.h"
#include "emulator/Operation.h"
#include "emulator/Records.h"
#include "emulator/RigHold.h"
#include "emulator/Storage.h"

#include "external/IVrelAPI.h"

namespace VrelRig {

namespace {

/** The vendor API on emulated devices. Without state of its own; all operations work on the held rig. */
class VrelEmulator final : public IVrelAPI
{
public:
    void getApiVersion(VrelApiVersionRecord* version) override
    {
        if (version == nullptr)
            return;
        *version = {};
        std::string_view("1.0.0-emulator").copy(version->versionText, sizeof(version->versionText) - 1);
        version->textLength = -1;
    }

    void reserved1() override {}
    void reserved2() override {}
    int listDevices(VrelDeviceList* devices, char* errorText) override
    {
        return runOnRig({__func__, nullptr, errorText}, [&](Rig const& rig) {
            VrelRig::listDevices(rig.devices(), required(devices, "place for the device list"));
        });
    }

    int idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oemId, VrelPlatformId* uniqueId,
                 std::uint32_t* responseFlags, VrelIdResponse* response, char const* serial, char* errorText,
                 VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context}, [&](Operation const& on) {
            required(ifp, "IFP record");
            Records::identify(on, flags, oemId, uniqueId, responseFlags, response);
        });
    }

    int startOver(std::uint32_t* flags, std::uint32_t* operation, std::uint32_t* operationContext,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context}, [&](Operation const& on) {
            QJsonObject const record = {{"flags", hexNumber(required(flags, "flags"))}};
            JsonFile const description(on.device, kDescription);
            description.tell("operation", operation);
            description.tell("operationContext", operationContext);
            storeCounted(on.device, "start-over.json", record);
            on.info("The device starts over");
        });
    }

    int fwRecovery(char const* modulePath, char const* serial, VrelIfpRecord* ifp, char* errorText,
                   VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            Records::downloadRecovery(on, required(ifp, "IFP record"));
        });
    }

    int downloadFwOs(char const* modulePath, char const* fwImagePath, std::uint32_t* flags,
                     char const* osModulePath, char const* osImagePath, char const* serial, char* errorText,
                     VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            Records::downloadFwOs(on, {fwImagePath, osModulePath, osImagePath}, required(flags, "flags"));
        });
    }

    void reserved8() override {}
    void reserved9() override {}
    int eraseToken(char const* modulePath, std::uint8_t slot, char const* serial, char* errorText,
                   VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath},
                           [&](Operation const& on) { Records::eraseToken(on, slot); });
    }

    void reserved11() override {}
    void reserved12() override {}
    int configPartitions(char const* modulePath, char const* configPath, std::uint8_t deviceType,
                         std::uint8_t deviceIndex, char const* serial, char* errorText,
                         VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice(on, deviceType, deviceIndex).configurePartitions(configPath);
        });
    }

    int getTokenPid(char const* modulePath, std::uint32_t flags, VrelTokenPartId* partId,
                    std::uint32_t* nonce, std::uint32_t* trustedTime, std::uint32_t* deviceId,
                    std::uint32_t* oemId, char const* serial, char* errorText, VrelApiLogCallback log,
                    void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            on.info("Reading what a token is made for, flags " + std::to_string(flags));
            JsonFile const description(on.device, kDescription);
            description.tell("partId", required(partId, "partId").bytes);
            description.tell("nonce", nonce);
            description.tell("trustedTime", trustedTime);
            description.tell("deviceId", deviceId);
            description.tell("oemId", oemId);
        });
    }

    int getCardInfo(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                    VrelCardInfo* info, std::uint32_t* size, char const* serial, char* errorText,
                    VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice(on, required(deviceType, "storage device type"), deviceIndex)
                .copyCardInfo(required(info, "card information buffer"), required(size, "buffer size"));
        });
    }

    void reserved16() override {}
    int clearRpmb(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice(on, deviceType, deviceIndex).clearRpmb();
        });
    }

    int idDeviceIfpFile(std::uint32_t flags, char const* ifpPath, std::uint32_t* oemId,
                        VrelPlatformId* uniqueId, std::uint32_t* responseFlags, VrelIdResponse* response,
                        char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context}, [&](Operation const& on) {
            openCallerFile(ifpPath, "IFP file");
            Records::identify(on, flags, oemId, uniqueId, responseFlags, response);
        });
    }

    int writeToken(char const* modulePath, char const* tokenPath, std::uint8_t slot, char const* serial,
                   char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath},
                           [&](Operation const& on) { Records::writeToken(on, slot, tokenPath); });
    }

    int readToken(char const* modulePath, char const* targetPath, std::uint8_t slot, char const* serial,
                  char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath},
                           [&](Operation const& on) { Records::readToken(on, slot, targetPath); });
    }

    int setDeviceLifecycleStage(char const* modulePath, char const* tokenPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath},
                           [&](Operation const& on) { Records::advanceLifecycle(on, tokenPath); });
    }

    int oemIfpProvision(char const* modulePath, char const* ifpBlockPath, char const* serial, char* errorText,
                        VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            Records::provision(on, "oem-ifp", "OEM IFP block", ifpBlockPath);
        });
    }

    int getCardInfoToFile(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                          char const* outputPath, char const* serial, char* errorText, VrelApiLogCallback log,
                          void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice const storage(on, required(deviceType, "storage device type"), deviceIndex);
            auto output = OutputFile::outside(requiredText(outputPath, "output file"));
            output.write(storage.cardInfo());
            output.commit();
        });
    }

    int readBootMedia(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                      VrelReadRegion* region, char const* targetPath, char const* serial, char* errorText,
                      VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice(on, deviceType, deviceIndex).readPartition(required(region, "region"), targetPath);
        });
    }

    int downloadOemKeyManifest(char const* modulePath, char const* manifestPath, char const* serial,
                               char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            Records::provision(on, "oem-key-manifest", "OEM key manifest", manifestPath);
        });
    }

    int setCapabilities(char const* modulePath, char const* capabilitiesPath, char const* serial,
                        char* errorText, VrelApiLogCallback log, void* context) override
    {
        return runOnDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            Records::provision(on, "capabilities", "capabilities file", capabilitiesPath);
        });
    }
};

} // namespace

} // namespace VrelRig

#define VREL_API_EXPORT __attribute__((visibility("default")))

extern "C" {

VREL_API_EXPORT IVrelAPI* api_acquire()
{
    static VrelRig::VrelEmulator s_emulator;
    try {
        VrelRig::RigHold::take();
        return &s_emulator;
    } catch (...) {
        return nullptr;
    }
}

VREL_API_EXPORT void api_release()
{
    try {
        VrelRig::RigHold::giveBack();
    } catch (...) {
        // The C boundary has no way to report; a mutex that cannot be locked leaves the hold as it was.
    }
}
}
