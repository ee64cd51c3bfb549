#pragma once

#include "external/IVrelAPI.h"

namespace VrelRig {

/** The vendor API on emulated devices. Without state of its own; all operations work on the held rig. */
class VrelEmulator final : public IVrelAPI
{
public:
    void getApiVersion(VrelApiVersionRecord* version) override;
    void reserved1() override {}
    void reserved2() override {}
    int listDevices(VrelDeviceList* devices, char* errorText) override;
    int idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oemId, VrelPlatformId* uniqueId,
                 std::uint32_t* responseFlags, VrelIdResponse* response, char const* serial, char* errorText,
                 VrelApiLogCallback log, void* context) override;
    int startOver(std::uint32_t* flags, std::uint32_t* operation, std::uint32_t* operationContext,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override;
    int fwRecovery(char const* modulePath, char const* serial, VrelIfpRecord* ifp, char* errorText,
                   VrelApiLogCallback log, void* context) override;
    int downloadFwOs(char const* modulePath, char const* fwImagePath, std::uint32_t* flags,
                     char const* osModulePath, char const* osImagePath, char const* serial, char* errorText,
                     VrelApiLogCallback log, void* context) override;
    void reserved8() override {}
    void reserved9() override {}
    int eraseToken(char const* modulePath, std::uint8_t slot, char const* serial, char* errorText,
                   VrelApiLogCallback log, void* context) override;
    void reserved11() override {}
    void reserved12() override {}
    int configPartitions(char const* modulePath, char const* configPath, std::uint8_t deviceType,
                         std::uint8_t deviceIndex, char const* serial, char* errorText,
                         VrelApiLogCallback log, void* context) override;
    int getTokenPid(char const* modulePath, std::uint32_t flags, VrelTokenPartId* partId,
                    std::uint32_t* nonce, std::uint32_t* trustedTime, std::uint32_t* deviceId,
                    std::uint32_t* oemId, char const* serial, char* errorText, VrelApiLogCallback log,
                    void* context) override;
    int getCardInfo(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                    VrelCardInfo* info, std::uint32_t* size, char const* serial, char* errorText,
                    VrelApiLogCallback log, void* context) override;
    void reserved16() override {}
    int clearRpmb(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override;
    int idDeviceIfpFile(std::uint32_t flags, char const* ifpPath, std::uint32_t* oemId,
                        VrelPlatformId* uniqueId, std::uint32_t* responseFlags, VrelIdResponse* response,
                        char const* serial, char* errorText, VrelApiLogCallback log, void* context) override;
    int writeToken(char const* modulePath, char const* tokenPath, std::uint8_t slot, char const* serial,
                   char* errorText, VrelApiLogCallback log, void* context) override;
    int readToken(char const* modulePath, char const* targetPath, std::uint8_t slot, char const* serial,
                  char* errorText, VrelApiLogCallback log, void* context) override;
    int setDeviceLifecycleStage(char const* modulePath, char const* tokenPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) override;
    int oemIfpProvision(char const* modulePath, char const* ifpBlockPath, char const* serial, char* errorText,
                        VrelApiLogCallback log, void* context) override;
    int getCardInfoToFile(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                          char const* outputPath, char const* serial, char* errorText, VrelApiLogCallback log,
                          void* context) override;
    int readBootMedia(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                      VrelReadRegion* region, char const* targetPath, char const* serial, char* errorText,
                      VrelApiLogCallback log, void* context) override;
    int downloadOemKeyManifest(char const* modulePath, char const* manifestPath, char const* serial,
                               char* errorText, VrelApiLogCallback log, void* context) override;
    int setCapabilities(char const* modulePath, char const* capabilitiesPath, char const* serial,
                        char* errorText, VrelApiLogCallback log, void* context) override;
};

} // namespace VrelRig
