#include "benchmarks/NullApi.h"

#include "external/IVrelAPI.h"

#include <QByteArray>

#include <cstring>

namespace {

constexpr std::array<ListedDevice, kListedDeviceCount> kDevices = {{
    {"1-1.1", "0A1B2C3D"}, {"1-1.2", "0B1C2D3E"}, {"1-1.3", "0C1D2E3F"}, {"1-1.4", "0D1E2F40"},
    {"1-2.1", "0E1F3041"}, {"1-2.2", "0F203142"}, {"1-2.3", "10213243"}, {"1-2.4", "11223344"},
    {"1-3.1", "12233445"}, {"1-3.2", "13243546"}, {"1-3.3", "14253647"}, {"1-3.4", "15263748"},
    {"2-1.1", "16273849"}, {"2-1.2", "1728394A"}, {"2-1.3", "18293A4B"}, {"2-1.4", "192A3B4C"},
    {"2-2.1", "1A2B3C4D"}, {"2-2.2", "1B2C3D4E"}, {"2-2.3", "1C2D3E4F"}, {"2-2.4", "1D2E3F50"},
    {"2-3.1", "1E2F4051"}, {"2-3.2", "1F304152"}, {"2-3.3", "20314253"}, {"2-3.4", "21324354"},
}};

class NullApi final : public IVrelAPI
{
public:
    NullApi();

    void getApiVersion(VrelApiVersionRecord* /*version*/) override {}
    void reserved1() override {}
    void reserved2() override {}
    int listDevices(VrelDeviceList* devices, char* errorText) override;
    int idDevice(std::uint32_t /*flags*/, VrelIfpRecord* /*ifp*/, std::uint32_t* /*oemId*/,
                 VrelPlatformId* /*uniqueId*/, std::uint32_t* /*responseFlags*/, VrelIdResponse* /*response*/,
                 char const* /*serial*/, char* /*errorText*/, VrelApiLogCallback /*log*/,
                 void* /*context*/) override
    {
        return 0;
    }
    int startOver(std::uint32_t* /*flags*/, std::uint32_t* /*operation*/, std::uint32_t* /*operationContext*/,
                  char const* /*serial*/, char* /*errorText*/, VrelApiLogCallback /*log*/,
                  void* /*context*/) override
    {
        return 0;
    }
    int fwRecovery(char const* /*modulePath*/, char const* /*serial*/, VrelIfpRecord* /*ifp*/,
                   char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int downloadFwOs(char const* /*modulePath*/, char const* /*fwImagePath*/, std::uint32_t* /*flags*/,
                     char const* /*osModulePath*/, char const* /*osImagePath*/, char const* /*serial*/,
                     char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    void reserved8() override {}
    void reserved9() override {}
    int eraseToken(char const* /*modulePath*/, std::uint8_t /*slot*/, char const* /*serial*/,
                   char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    void reserved11() override {}
    void reserved12() override {}
    int configPartitions(char const* /*modulePath*/, char const* /*configPath*/, std::uint8_t /*deviceType*/,
                         std::uint8_t /*deviceIndex*/, char const* /*serial*/, char* /*errorText*/,
                         VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int getTokenPid(char const* /*modulePath*/, std::uint32_t /*flags*/, VrelTokenPartId* /*partId*/,
                    std::uint32_t* /*nonce*/, std::uint32_t* /*trustedTime*/, std::uint32_t* /*deviceId*/,
                    std::uint32_t* /*oemId*/, char const* /*serial*/, char* /*errorText*/,
                    VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int getCardInfo(char const* /*modulePath*/, std::uint8_t* /*deviceType*/, std::uint8_t /*deviceIndex*/,
                    VrelCardInfo* /*info*/, std::uint32_t* /*size*/, char const* /*serial*/,
                    char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    void reserved16() override {}
    int clearRpmb(char const* /*modulePath*/, std::uint8_t /*deviceType*/, std::uint8_t /*deviceIndex*/,
                  char const* /*serial*/, char* /*errorText*/, VrelApiLogCallback /*log*/,
                  void* /*context*/) override
    {
        return 0;
    }
    int idDeviceIfpFile(std::uint32_t /*flags*/, char const* /*ifpPath*/, std::uint32_t* /*oemId*/,
                        VrelPlatformId* /*uniqueId*/, std::uint32_t* /*responseFlags*/,
                        VrelIdResponse* /*response*/, char const* /*serial*/, char* /*errorText*/,
                        VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int writeToken(char const* /*modulePath*/, char const* /*tokenPath*/, std::uint8_t /*slot*/,
                   char const* /*serial*/, char* /*errorText*/, VrelApiLogCallback /*log*/,
                   void* /*context*/) override
    {
        return 0;
    }
    int readToken(char const* /*modulePath*/, char const* /*targetPath*/, std::uint8_t /*slot*/,
                  char const* /*serial*/, char* /*errorText*/, VrelApiLogCallback /*log*/,
                  void* /*context*/) override
    {
        return 0;
    }
    int setDeviceLifecycleStage(char const* /*modulePath*/, char const* /*tokenPath*/, char const* /*serial*/,
                                char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int oemIfpProvision(char const* /*modulePath*/, char const* /*ifpBlockPath*/, char const* /*serial*/,
                        char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int getCardInfoToFile(char const* /*modulePath*/, std::uint8_t* /*deviceType*/,
                          std::uint8_t /*deviceIndex*/, char const* /*outputPath*/, char const* /*serial*/,
                          char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int readBootMedia(char const* /*modulePath*/, std::uint8_t /*deviceType*/, std::uint8_t /*deviceIndex*/,
                      VrelReadRegion* /*region*/, char const* /*targetPath*/, char const* /*serial*/,
                      char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }
    int downloadOemKeyManifest(char const* /*modulePath*/, char const* /*manifestPath*/,
                               char const* /*serial*/, char* /*errorText*/, VrelApiLogCallback /*log*/,
                               void* /*context*/) override
    {
        return 0;
    }
    int setCapabilities(char const* /*modulePath*/, char const* /*capabilitiesPath*/, char const* /*serial*/,
                        char* /*errorText*/, VrelApiLogCallback /*log*/, void* /*context*/) override
    {
        return 0;
    }

private:
    VrelDeviceList m_devices = {};
};

/** Fills the answer once, so that a call copies no more than is read of it. */
NullApi::NullApi()
{
    m_devices.count = kListedDeviceCount;
    for (std::size_t i = 0; i < kListedDeviceCount; ++i) {
        char const* const location = kDevices[i].location; // "1-2.3"
        VrelDeviceLocation& record = m_devices.locations[i];
        qstrncpy(m_devices.names[i], kDevices[i].serial, sizeof m_devices.names[i]);
        record.bus = static_cast<std::uint8_t>(location[0] - '0');
        record.ports[0] = static_cast<std::uint8_t>(location[2] - '0');
        record.ports[1] = static_cast<std::uint8_t>(location[4] - '0');
        record.portCount = 2;
    }
}

int NullApi::listDevices(VrelDeviceList* devices, char* /*errorText*/)
{
    constexpr std::size_t kNameSize = sizeof "0A1B2C3D";
    constexpr std::size_t kUsedLocationSize = offsetof(VrelDeviceLocation, reserved);
    devices->count = m_devices.count;
    for (std::size_t i = 0; i < kListedDeviceCount; ++i) {
        std::memcpy(devices->names[i], m_devices.names[i], kNameSize);
        std::memcpy(&devices->locations[i], &m_devices.locations[i], kUsedLocationSize);
    }
    return 0;
}

} // namespace

std::array<ListedDevice, kListedDeviceCount> const& listedDevices()
{
    return kDevices;
}

void ignoreApiMessage(unsigned long /*level*/, char const* /*text*/, void* /*context*/)
{
}

IVrelAPI* api_acquire()
{
    static NullApi api;
    return &api;
}

void api_release()
{
}
