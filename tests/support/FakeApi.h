#pragma once

#include "external/IVrelAPI.h"

#include <QByteArray>

#include <atomic>
#include <optional>
#include <string>
#include <vector>

/**
 * A vendor API that notes every call with its arguments, in their order, and answers as a test says. While it
 * lives, `api_acquire` yields it.
 */
class FakeApi final : public IVrelAPI
{
public:
    FakeApi();
    ~FakeApi();

    /** "operation(argument, …)" per call; texts in quotes, bytes in hexadecimal. */
    std::vector<std::string> calls;
    int result = 0;
    std::optional<QByteArray> errorText;                         ///< nothing: the error buffer is not touched
    std::vector<std::pair<unsigned long, char const*>> messages; ///< sent by each operation

    VrelApiVersionRecord version = {};
    VrelDeviceList devices = {};
    std::uint32_t oemId = 0;
    VrelPlatformId uniqueId = {};
    std::uint32_t responseFlags = 0;
    VrelIdResponse response = {};
    std::uint32_t operation = 0;
    std::uint32_t operationContext = 0;
    VrelTokenPartId partId = {};
    std::uint32_t nonce = 0;
    std::uint32_t trustedTime = 0;
    std::uint32_t deviceId = 0;
    QByteArray cardInfo;                        ///< filled into the buffer as far as it reaches
    std::optional<std::uint32_t> cardInfoClaim; ///< size to claim in place of the true one

    /** Adds a device to `devices`; `ports` holds the port chain. */
    void addDevice(char const* name, std::uint8_t bus, std::vector<std::uint8_t> const& ports);

    void getApiVersion(VrelApiVersionRecord* record) override;
    void reserved1() override;
    void reserved2() override;
    int listDevices(VrelDeviceList* list, char* error) override;
    int idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oem, VrelPlatformId* unique,
                 std::uint32_t* respFlags, VrelIdResponse* resp, char const* serial, char* error,
                 VrelApiLogCallback log, void* context) override;
    int startOver(std::uint32_t* flags, std::uint32_t* op, std::uint32_t* opContext, char const* serial,
                  char* error, VrelApiLogCallback log, void* context) override;
    int fwRecovery(char const* module, char const* serial, VrelIfpRecord* ifp, char* error,
                   VrelApiLogCallback log, void* context) override;
    int downloadFwOs(char const* module, char const* image, std::uint32_t* flags, char const* osModule,
                     char const* osImage, char const* serial, char* error, VrelApiLogCallback log,
                     void* context) override;
    void reserved8() override;
    void reserved9() override;
    int eraseToken(char const* module, std::uint8_t slot, char const* serial, char* error,
                   VrelApiLogCallback log, void* context) override;
    void reserved11() override;
    void reserved12() override;
    int configPartitions(char const* module, char const* config, std::uint8_t type, std::uint8_t index,
                         char const* serial, char* error, VrelApiLogCallback log, void* context) override;
    int getTokenPid(char const* module, std::uint32_t flags, VrelTokenPartId* part, std::uint32_t* nonceOut,
                    std::uint32_t* time, std::uint32_t* device, std::uint32_t* oem, char const* serial,
                    char* error, VrelApiLogCallback log, void* context) override;
    int getCardInfo(char const* module, std::uint8_t* type, std::uint8_t index, VrelCardInfo* info,
                    std::uint32_t* size, char const* serial, char* error, VrelApiLogCallback log,
                    void* context) override;
    void reserved16() override;
    int clearRpmb(char const* module, std::uint8_t type, std::uint8_t index, char const* serial, char* error,
                  VrelApiLogCallback log, void* context) override;
    int idDeviceIfpFile(std::uint32_t flags, char const* ifp, std::uint32_t* oem, VrelPlatformId* unique,
                        std::uint32_t* respFlags, VrelIdResponse* resp, char const* serial, char* error,
                        VrelApiLogCallback log, void* context) override;
    int writeToken(char const* module, char const* token, std::uint8_t slot, char const* serial, char* error,
                   VrelApiLogCallback log, void* context) override;
    int readToken(char const* module, char const* target, std::uint8_t slot, char const* serial, char* error,
                  VrelApiLogCallback log, void* context) override;
    int setDeviceLifecycleStage(char const* module, char const* token, char const* serial, char* error,
                                VrelApiLogCallback log, void* context) override;
    int oemIfpProvision(char const* module, char const* block, char const* serial, char* error,
                        VrelApiLogCallback log, void* context) override;
    int getCardInfoToFile(char const* module, std::uint8_t* type, std::uint8_t index, char const* output,
                          char const* serial, char* error, VrelApiLogCallback log, void* context) override;
    int readBootMedia(char const* module, std::uint8_t type, std::uint8_t index, VrelReadRegion* region,
                      char const* target, char const* serial, char* error, VrelApiLogCallback log,
                      void* context) override;
    int downloadOemKeyManifest(char const* module, char const* manifest, char const* serial, char* error,
                               VrelApiLogCallback log, void* context) override;
    int setCapabilities(char const* module, char const* capabilities, char const* serial, char* error,
                        VrelApiLogCallback log, void* context) override;

private:
    int answer(std::string call, char* error, VrelApiLogCallback log, void* context);
};

/** What the library asked of the vendor library since the last reset. */
struct VendorHolds
{
    std::atomic<int> acquired{0};
    std::atomic<int> released{0};
    std::atomic<IVrelAPI*> api{nullptr}; ///< what api_acquire yields

    void reset();
};

VendorHolds& vendorHolds();
