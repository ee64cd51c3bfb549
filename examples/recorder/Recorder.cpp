#include "Call.h"
#include "Journal.h"

#include <QString>

#include <dlfcn.h>
#include <memory>
#include <utility>

namespace {

/** The vendor API for whoever calls it. Each operation names what it takes and gives; the journal answers. */
class Recorder final : public IVrelAPI
{
public:
    explicit Recorder(std::unique_ptr<Journal> journal)
        : m_journal(std::move(journal))
    {
    }

    /** Whom calls are passed on to. */
    void setVendor(IVrelAPI* vendor) { m_vendor = vendor; }

    void getApiVersion(VrelApiVersionRecord* version) override
    {
        m_journal->answer(Call(__func__).gives(version), nullptr, nullptr, nullptr, [&](auto, auto) {
            m_vendor->getApiVersion(version);
            return 0;
        });
    }

    int listDevices(VrelDeviceList* devices, char* errorText) override
    {
        return m_journal->answer(Call(__func__).gives(devices), errorText, nullptr, nullptr,
                                 [&](auto, auto) { return m_vendor->listDevices(devices, errorText); });
    }

    int idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oemId, VrelPlatformId* uniqueId,
                 std::uint32_t* responseFlags, VrelIdResponse* response, char const* serial, char* errorText,
                 VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .with("flags", flags)
                              .with("ifp", *ifp)
                              .gives("oemId", oemId)
                              .gives("uniqueId", uniqueId)
                              .gives("responseFlags", responseFlags)
                              .gives("response", response);
        return answer(call, errorText, log, context, &IVrelAPI::idDevice, flags, ifp, oemId, uniqueId,
                      responseFlags, response, serial);
    }

    int startOver(std::uint32_t* flags, std::uint32_t* operation, std::uint32_t* operationContext,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .with("flags", *flags)
                              .gives("operation", operation)
                              .gives("context", operationContext);
        return answer(call, errorText, log, context, &IVrelAPI::startOver, flags, operation, operationContext,
                      serial);
    }

    int fwRecovery(char const* modulePath, char const* serial, VrelIfpRecord* ifp, char* errorText,
                   VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial).reads("fw_rux", modulePath).with("ifp", *ifp);
        return answer(call, errorText, log, context, &IVrelAPI::fwRecovery, modulePath, serial, ifp);
    }

    int downloadFwOs(char const* modulePath, char const* fwImagePath, std::uint32_t* flags,
                     char const* osModulePath, char const* osImagePath, char const* serial, char* errorText,
                     VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .reads("fw_rux", modulePath)
                              .reads("fw_image", fwImagePath)
                              .with("flags", *flags)
                              .reads("os_rux", osModulePath)
                              .reads("os_image", osImagePath);
        return answer(call, errorText, log, context, &IVrelAPI::downloadFwOs, modulePath, fwImagePath, flags,
                      osModulePath, osImagePath, serial);
    }

    int eraseToken(char const* modulePath, std::uint8_t slot, char const* serial, char* errorText,
                   VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial).reads("fw_rux", modulePath).with("slot", slot);
        return answer(call, errorText, log, context, &IVrelAPI::eraseToken, modulePath, slot, serial);
    }

    int configPartitions(char const* modulePath, char const* configPath, std::uint8_t deviceType,
                         std::uint8_t deviceIndex, char const* serial, char* errorText,
                         VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .reads("fw_rux", modulePath)
                              .reads("path", configPath)
                              .with("device", deviceType)
                              .with("idx", deviceIndex);
        return answer(call, errorText, log, context, &IVrelAPI::configPartitions, modulePath, configPath,
                      deviceType, deviceIndex, serial);
    }

    int getTokenPid(char const* modulePath, std::uint32_t flags, VrelTokenPartId* partId,
                    std::uint32_t* nonce, std::uint32_t* trustedTime, std::uint32_t* deviceId,
                    std::uint32_t* oemId, char const* serial, char* errorText, VrelApiLogCallback log,
                    void* context) override
    {
        auto const call = Call(__func__, serial)
                              .reads("fw_rux", modulePath)
                              .with("flags", flags)
                              .gives("partId", partId)
                              .gives("nonce", nonce)
                              .gives("trustedTime", trustedTime)
                              .gives("deviceId", deviceId)
                              .gives("oemId", oemId);
        return answer(call, errorText, log, context, &IVrelAPI::getTokenPid, modulePath, flags, partId, nonce,
                      trustedTime, deviceId, oemId, serial);
    }

    int getCardInfo(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                    VrelCardInfo* info, std::uint32_t* size, char const* serial, char* errorText,
                    VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .reads("fw_rux", modulePath)
                              .with("device", *deviceType)
                              .with("idx", deviceIndex)
                              .gives("info", info)
                              .gives("size", size);
        return answer(call, errorText, log, context, &IVrelAPI::getCardInfo, modulePath, deviceType,
                      deviceIndex, info, size, serial);
    }

    int clearRpmb(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .reads("fw_rux", modulePath)
                              .with("device", deviceType)
                              .with("idx", deviceIndex);
        return answer(call, errorText, log, context, &IVrelAPI::clearRpmb, modulePath, deviceType,
                      deviceIndex, serial);
    }

    int idDeviceIfpFile(std::uint32_t flags, char const* ifpPath, std::uint32_t* oemId,
                        VrelPlatformId* uniqueId, std::uint32_t* responseFlags, VrelIdResponse* response,
                        char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .with("flags", flags)
                              .reads("ifp", ifpPath)
                              .gives("oemId", oemId)
                              .gives("uniqueId", uniqueId)
                              .gives("responseFlags", responseFlags)
                              .gives("response", response);
        return answer(call, errorText, log, context, &IVrelAPI::idDeviceIfpFile, flags, ifpPath, oemId,
                      uniqueId, responseFlags, response, serial);
    }

    int writeToken(char const* modulePath, char const* tokenPath, std::uint8_t slot, char const* serial,
                   char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call =
            Call(__func__, serial).reads("fw_rux", modulePath).reads("token", tokenPath).with("slot", slot);
        return answer(call, errorText, log, context, &IVrelAPI::writeToken, modulePath, tokenPath, slot,
                      serial);
    }

    int readToken(char const* modulePath, char const* targetPath, std::uint8_t slot, char const* serial,
                  char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call =
            Call(__func__, serial).reads("fw_rux", modulePath).writes("path", targetPath).with("slot", slot);
        return answer(call, errorText, log, context, &IVrelAPI::readToken, modulePath, targetPath, slot,
                      serial);
    }

    int setDeviceLifecycleStage(char const* modulePath, char const* tokenPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial).reads("fw_rux", modulePath).reads("token", tokenPath);
        return answer(call, errorText, log, context, &IVrelAPI::setDeviceLifecycleStage, modulePath,
                      tokenPath, serial);
    }

    int oemIfpProvision(char const* modulePath, char const* ifpBlockPath, char const* serial, char* errorText,
                        VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial).reads("fw_rux", modulePath).reads("ifp", ifpBlockPath);
        return answer(call, errorText, log, context, &IVrelAPI::oemIfpProvision, modulePath, ifpBlockPath,
                      serial);
    }

    int getCardInfoToFile(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                          char const* outputPath, char const* serial, char* errorText, VrelApiLogCallback log,
                          void* context) override
    {
        auto const call = Call(__func__, serial)
                              .reads("fw_rux", modulePath)
                              .with("device", *deviceType)
                              .with("idx", deviceIndex)
                              .writes("path", outputPath);
        return answer(call, errorText, log, context, &IVrelAPI::getCardInfoToFile, modulePath, deviceType,
                      deviceIndex, outputPath, serial);
    }

    int readBootMedia(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                      VrelReadRegion* region, char const* targetPath, char const* serial, char* errorText,
                      VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial)
                              .reads("fw_rux", modulePath)
                              .with("device", deviceType)
                              .with("idx", deviceIndex)
                              .with("part", region->partition)
                              .with("start", region->startOffset)
                              .with("blocks", region->blockCount)
                              .writes("path", targetPath);
        return answer(call, errorText, log, context, &IVrelAPI::readBootMedia, modulePath, deviceType,
                      deviceIndex, region, targetPath, serial);
    }

    int downloadOemKeyManifest(char const* modulePath, char const* manifestPath, char const* serial,
                               char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call = Call(__func__, serial).reads("fw_rux", modulePath).reads("key", manifestPath);
        return answer(call, errorText, log, context, &IVrelAPI::downloadOemKeyManifest, modulePath,
                      manifestPath, serial);
    }

    int setCapabilities(char const* modulePath, char const* capabilitiesPath, char const* serial,
                        char* errorText, VrelApiLogCallback log, void* context) override
    {
        auto const call =
            Call(__func__, serial).reads("fw_rux", modulePath).reads("capabilities", capabilitiesPath);
        return answer(call, errorText, log, context, &IVrelAPI::setCapabilities, modulePath, capabilitiesPath,
                      serial);
    }

    // Nobody calls these, and what they take is not known.
    void reserved1() override {}
    void reserved2() override {}
    void reserved8() override {}
    void reserved9() override {}
    void reserved11() override {}
    void reserved12() override {}
    void reserved16() override {}

private:
    /** Error text, receiver of messages and its context end the arguments of every operation on a device. */
    template <typename Operation, typename... Arguments>
    int answer(Call const& call, char* errorText, VrelApiLogCallback log, void* context, Operation operation,
               Arguments... arguments)
    {
        return m_journal->answer(call, errorText, log, context, [&](VrelApiLogCallback to, void* with) {
            return (m_vendor->*operation)(arguments..., errorText, to, with);
        });
    }

    std::unique_ptr<Journal> const m_journal;
    IVrelAPI* m_vendor = nullptr;
};

/** What the environment asks for: VREL_PLAY names a recording to answer from; without it VREL_RECORD names
 * one that is to be made, of what the vendor library VREL_RECORD_API is called with. */
class Setup
{
public:
    static Setup& get()
    {
        static auto& s_setup = *new Setup;
        return s_setup;
    }

    IVrelAPI* acquire()
    {
        IVrelAPI* const vendor = m_acquire != nullptr ? m_acquire() : nullptr;
        if (m_recorder && vendor != nullptr)
            m_recorder->setVendor(vendor);
        return vendor != nullptr || m_isPlaying ? m_recorder.get() : nullptr;
    }

    void release()
    {
        if (m_release != nullptr)
            m_release();
    }

private:
    Setup()
    {
        QString const played = qEnvironmentVariable("VREL_PLAY");
        m_isPlaying = !played.isEmpty();
        if (m_isPlaying)
            m_recorder = std::make_unique<Recorder>(Journal::playFrom(played));
        else if (load(qgetenv("VREL_RECORD_API")))
            m_recorder = std::make_unique<Recorder>(Journal::recordTo(qEnvironmentVariable("VREL_RECORD")));
    }

    bool load(QByteArray const& path)
    {
        void* const library = path.isEmpty() ? nullptr : ::dlopen(path.constData(), RTLD_NOW | RTLD_LOCAL);
        void* const acquire = library != nullptr ? ::dlsym(library, "api_acquire") : nullptr;
        void* const release = library != nullptr ? ::dlsym(library, "api_release") : nullptr;
        if (acquire == nullptr || release == nullptr || acquire == reinterpret_cast<void*>(&api_acquire)) {
            char const* const cause = path.isEmpty() ? nullptr : ::dlerror();
            qWarning("VREL_RECORD_API names no vendor library, '%s'%s%s: set it to the path of one, or set "
                     "VREL_PLAY",
                     path.constData(), cause == nullptr ? "" : ", ", cause == nullptr ? "" : cause);
            return false;
        }
        m_acquire = reinterpret_cast<IVrelAPI* (*) ()>(acquire);
        m_release = reinterpret_cast<void (*)()>(release);
        return true;
    }

    bool m_isPlaying = false;
    std::unique_ptr<Recorder> m_recorder;
    IVrelAPI* (*m_acquire)() = nullptr;
    void (*m_release)() = nullptr;
};

} // namespace

extern "C" Q_DECL_EXPORT IVrelAPI* api_acquire()
{
    return Setup::get().acquire();
}

extern "C" Q_DECL_EXPORT void api_release()
{
    Setup::get().release();
}
