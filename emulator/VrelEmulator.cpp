#include "emulator/JsonFile.h"
#include "emulator/Operation.h"
#include "emulator/RigDevices.h"
#include "emulator/Storage.h"

#include "external/IVrelAPI.h"

#include <QCryptographicHash>

#include <tuple>

namespace VrelRig {

namespace {

/** Takes a file to the device, of which only name, size and digest are kept. @return these */
QJsonObject download(Operation const& on, std::string const& what, InputFile const& file)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    on.info("Downloading " + what + ' ' + inQuotes(file.path()));
    file.read(0, file.size(),
              [&](std::string_view piece) { hash.addData(piece.data(), static_cast<int>(piece.size())); });
    for (unsigned quarter = 1; quarter <= 4; ++quarter) {
        on.trace("TX " + what + ' ' + std::to_string(file.size() * quarter / 4) + " of " +
                 std::to_string(file.size()));
        on.trace("RX " + what + " acknowledged");
        on.info("Downloading " + what + ": " + std::to_string(quarter * 25) + " %");
    }
    return {{"file", QString::fromStdString(file.path()).section('/', -1)},
            {"size", static_cast<qint64>(file.size())},
            {"sha256", QString::fromLatin1(hash.result().toHex())}};
}

/** @return which of the lifecycle's stages it is */
int rankOf(std::string const& stage, std::string const& source)
{
    static QStringList const s_stages = {"development", "manufacturing", "production", "decommissioned"};
    auto const rank = s_stages.indexOf(QString::fromStdString(stage));
    if (rank < 0)
        throw RigError(inQuotes(source) + " names no lifecycle stage (" + s_stages.join(", ").toStdString() +
                       ')');
    return rank;
}

std::string titleOf(std::uint8_t slot)
{
    return "Token slot " + std::to_string(slot);
}

std::string fileOf(std::uint8_t slot)
{
    if (slot > 15)
        throw RigError("There is no token slot " + std::to_string(slot) + ": slots are 0 to 15");
    return "slot-" + std::to_string(slot) + ".bin";
}

/** @return the slot's file, nothing for an empty slot */
std::optional<InputFile> tokenIn(Directory const& slots, std::string const& file)
{
    auto token = slots.has(file) ? std::make_optional(slots.read(file)) : std::nullopt;
    return token && token->size() > 0 ? token : std::nullopt;
}

/**
 * Stores a file that the device is provisioned with in place of the last one of its kind, and counts it.
 * `title` is the kind as it appears in messages.
 */
void provision(Operation const& on, std::string const& kind, char const* title, char const* path)
{
    auto const directory = on.device.make("provisioning");
    auto const record = kind + ".json";
    auto const content = openCallerFile(path, title, 16 * kMebibyte).content();
    std::string const names[] = {kind + "-0.bin", kind + "-1.bin"};
    auto const last = directory.has(record) ? JsonFile(directory, record).text("content") : std::string();
    auto const& next = last == names[0] ? names[1] : names[0];
    on.info(std::string("Provisioning ") + title + ' ' + inQuotes(path));
    directory.store(next, content);
    // The record comes last: until it names the new content, the old one counts.
    storeCounted(directory, record,
                 {{"content", QString::fromStdString(next)},
                  {"file", QString::fromUtf8(path).section('/', -1)},
                  {"size", static_cast<qint64>(content.size())}});
    if ((last == names[0] || last == names[1]) && directory.has(last))
        directory.remove(last);
}

/** Tells what the device answers to an identification. */
void identify(Operation const& on, std::uint32_t flags, std::uint32_t* oemId, VrelPlatformId* uniqueId,
              std::uint32_t* responseFlags, VrelIdResponse* response)
{
    on.info("Identifying the device, flags " + std::to_string(flags));
    JsonFile const description(on.device, kDescription);
    description.tell("oemId", oemId);
    description.tell("responseFlags", responseFlags);
    description.tell("uniqueId", required(uniqueId, "uniqueId").bytes);
    required(response, "response") = {};
    description.tell("responseHeader", response->header);
    description.tell("imageErrors", response->imageErrors);
}

std::string cardInfo(Operation const& on, std::uint8_t const* deviceType, std::uint8_t index)
{
    StorageDevice const storage(on.device, required(deviceType, "storage device type"), index);
    on.info("Reading card information");
    return storage.cardInfo();
}

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
        return onRig({__func__, nullptr, errorText}, [&](Rig const& rig) {
            auto& list = required(devices, "place for the device list");
            auto const plugged = rig.devices();
            list = {};
            for (auto const& serial : serialsIn(plugged)) {
                auto const path = readableLocation(plugged, serial);
                if (!path)
                    continue;
                auto& location = list.locations[list.count];
                location.bus = path->numbers.front();
                location.portCount = static_cast<std::int32_t>(path->numbers.size()) - 1;
                std::copy(path->numbers.begin() + 1, path->numbers.end(), location.ports);
                serial.copy(list.names[list.count], serial.size());
                if (++list.count == std::size(list.locations))
                    return;
            }
        });
    }

    int idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oemId, VrelPlatformId* uniqueId,
                 std::uint32_t* responseFlags, VrelIdResponse* response, char const* serial, char* errorText,
                 VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context}, [&](Operation const& on) {
            required(ifp, "IFP record");
            identify(on, flags, oemId, uniqueId, responseFlags, response);
        });
    }

    int startOver(std::uint32_t* flags, std::uint32_t* operation, std::uint32_t* operationContext,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context}, [&](Operation const& on) {
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
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            auto const& bytes = required(ifp, "IFP record").bytes;
            storeCounted(on.device.make("firmware"), "recovery.json",
                         {{"module", download(on, "recovery module", *on.module)},
                          {"ifpRecord", formatHex(std::string(std::begin(bytes), std::end(bytes)))}});
        });
    }

    int downloadFwOs(char const* modulePath, char const* fwImagePath, std::uint32_t* flags,
                     char const* osModulePath, char const* osImagePath, char const* serial, char* errorText,
                     VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            std::tuple<char const*, char const*, char const*> const parts[] = {
                {fwImagePath, "firmware image", "fwImage"},
                {osModulePath, "OS recovery module", "osModule"},
                {osImagePath, "OS image", "osImage"}};
            QJsonObject record = {{"flags", hexNumber(required(flags, "flags"))}};
            requiredText(fwImagePath, "firmware image"); // the others are optional
            record.insert("fwModule", download(on, "recovery module", *on.module));
            for (auto const& [path, title, key] : parts) {
                if (path != nullptr && *path != '\0')
                    record.insert(QLatin1String(key), download(on, title, openCallerFile(path, title)));
            }
            storeCounted(on.device.make("firmware"), "fw-os.json", record);
        });
    }

    void reserved8() override {}
    void reserved9() override {}
    int eraseToken(char const* modulePath, std::uint8_t slot, char const* serial, char* errorText,
                   VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            auto const file = fileOf(slot);
            auto const slots = on.device.make("tokens");
            if (!tokenIn(slots, file))
                throw RigError(titleOf(slot) + " is empty");
            slots.remove(file);
            on.info(titleOf(slot) + ": erased");
        });
    }

    void reserved11() override {}
    void reserved12() override {}
    int configPartitions(char const* modulePath, char const* configPath, std::uint8_t deviceType,
                         std::uint8_t deviceIndex, char const* serial, char* errorText,
                         VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice const storage(on.device, deviceType, deviceIndex);
            constexpr char const* kStored = "partitions.xml";
            if (!storage.kind.isManaged)
                throw RigError(std::string(storage.kind.title) + " accepts no partition configuration");
            auto const config = openCallerFile(configPath, "partition configuration", kMebibyte).content();
            auto const count = checkPartitionConfig(config, configPath);
            bool const isConfigured = storage.directory.has(kStored);
            if (isConfigured && !storage.kind.isReconfigurable)
                throw RigError(storage.title + " is already configured");
            if (isConfigured)
                on.warning(storage.title + ": the partition configuration is replaced");
            storage.directory.store(kStored, config);
            on.info(storage.title + ": configured " + std::to_string(count) + " partitions");
        });
    }

    int getTokenPid(char const* modulePath, std::uint32_t flags, VrelTokenPartId* partId,
                    std::uint32_t* nonce, std::uint32_t* trustedTime, std::uint32_t* deviceId,
                    std::uint32_t* oemId, char const* serial, char* errorText, VrelApiLogCallback log,
                    void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            on.info("Reading the values for a token, flags " + std::to_string(flags));
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
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            auto const bytes = cardInfo(on, deviceType, deviceIndex);
            auto& buffer = required(info, "card information buffer").bytes;
            auto const capacity = std::min<std::size_t>(required(size, "buffer size"), sizeof(buffer));
            if (bytes.size() > capacity)
                throw RigError("The card information takes " + std::to_string(bytes.size()) +
                               " bytes, the buffer holds " + std::to_string(capacity));
            std::copy(bytes.begin(), bytes.end(), buffer);
            *size = static_cast<std::uint32_t>(bytes.size());
        });
    }

    void reserved16() override {}
    int clearRpmb(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                  char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice const storage(on.device, deviceType, deviceIndex);
            if (!storage.kind.isManaged)
                throw RigError(std::string(storage.kind.title) + " has no RPMB");
            auto const rpmb = storage.directory.read("rpmb.img", 64 * kMebibyte);
            storage.directory.store("rpmb.img", std::string(rpmb.size(), '\0'));
            on.info("Cleared " + std::to_string(rpmb.size()) + " bytes of RPMB on " + storage.title);
        });
    }

    int idDeviceIfpFile(std::uint32_t flags, char const* ifpPath, std::uint32_t* oemId,
                        VrelPlatformId* uniqueId, std::uint32_t* responseFlags, VrelIdResponse* response,
                        char const* serial, char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context}, [&](Operation const& on) {
            openCallerFile(ifpPath, "IFP file");
            identify(on, flags, oemId, uniqueId, responseFlags, response);
        });
    }

    int writeToken(char const* modulePath, char const* tokenPath, std::uint8_t slot, char const* serial,
                   char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            auto const file = fileOf(slot);
            auto const slots = on.device.make("tokens");
            auto const token = openCallerFile(tokenPath, "token file", kMebibyte).content();
            if (tokenIn(slots, file))
                on.warning(titleOf(slot) + " is overwritten");
            slots.store(file, token);
            on.info(titleOf(slot) + ": wrote " + std::to_string(token.size()) + " bytes");
        });
    }

    int readToken(char const* modulePath, char const* targetPath, std::uint8_t slot, char const* serial,
                  char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            auto const target = requiredText(targetPath, "target file");
            auto const token = tokenIn(on.device.make("tokens"), fileOf(slot));
            if (!token)
                throw RigError(titleOf(slot) + " is empty");
            copyToTarget(*token, 0, token->size(), target);
            on.info(titleOf(slot) + ": read " + std::to_string(token->size()) + " bytes");
        });
    }

    int setDeviceLifecycleStage(char const* modulePath, char const* tokenPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            constexpr char const* kLifecycle = "lifecycle.json";
            auto const token = openCallerFile(tokenPath, "lifecycle token", 4096).content();
            auto const wanted = QByteArray::fromStdString(token).trimmed().toStdString();
            JsonFile const lifecycle(on.device, kLifecycle);
            auto const stage = lifecycle.text("stage");
            if (rankOf(wanted, tokenPath) <= rankOf(stage, lifecycle.path()))
                throw RigError("The lifecycle stage moves forward only: it is " + inQuotes(stage) +
                               ", asked for is " + inQuotes(wanted));
            storeCounted(on.device, kLifecycle, {{"stage", QString::fromStdString(wanted)}});
            on.info("Lifecycle stage: " + stage + " -> " + wanted);
        });
    }

    int oemIfpProvision(char const* modulePath, char const* ifpBlockPath, char const* serial, char* errorText,
                        VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            provision(on, "oem-ifp", "OEM IFP block", ifpBlockPath);
        });
    }

    int getCardInfoToFile(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                          char const* outputPath, char const* serial, char* errorText, VrelApiLogCallback log,
                          void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            auto const bytes = cardInfo(on, deviceType, deviceIndex);
            auto output = OutputFile::outside(requiredText(outputPath, "output file"));
            output.write(bytes);
            output.commit();
        });
    }

    int readBootMedia(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                      VrelReadRegion* region, char const* targetPath, char const* serial, char* errorText,
                      VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            StorageDevice const storage(on.device, deviceType, deviceIndex);
            auto const [partition, start, blocks] = required(region, "region");
            auto const target = requiredText(targetPath, "target file");
            auto const file = "partition-" + std::to_string(partition) + ".img";
            auto const length = std::uint64_t(blocks) * 512;
            if (!storage.directory.has(file))
                throw RigError(storage.title + " has no partition " + std::to_string(partition));
            auto const image = storage.directory.read(file);
            if (start + length > image.size())
                throw RigError("The region from byte " + std::to_string(start) + " to byte " +
                               std::to_string(start + length) + " lies outside the partition of " +
                               std::to_string(image.size()) + " bytes");
            copyToTarget(image, start, length, target);
            on.info("Read " + std::to_string(length) + " bytes of " + storage.title + ", partition " +
                    std::to_string(partition));
        });
    }

    int downloadOemKeyManifest(char const* modulePath, char const* manifestPath, char const* serial,
                               char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            provision(on, "oem-key-manifest", "OEM key manifest", manifestPath);
        });
    }

    int setCapabilities(char const* modulePath, char const* capabilitiesPath, char const* serial,
                        char* errorText, VrelApiLogCallback log, void* context) override
    {
        return onDevice({__func__, serial, errorText, log, context, modulePath}, [&](Operation const& on) {
            provision(on, "capabilities", "capabilities file", capabilitiesPath);
        });
    }
};

} // namespace

} // namespace VrelRig

extern "C" {

[[gnu::visibility("default")]] IVrelAPI* api_acquire()
{
    static VrelRig::VrelEmulator s_emulator;
    try {
        VrelRig::takeRig();
        return &s_emulator;
    } catch (...) {
        return nullptr;
    }
}

[[gnu::visibility("default")]] void api_release()
{
    try {
        VrelRig::giveRigBack();
    } catch (...) {
        // The C boundary has no way to report; a mutex that cannot be locked leaves the hold as it was.
    }
}
}
