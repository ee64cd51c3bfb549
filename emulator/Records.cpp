#include "emulator/Records.h"

#include "emulator/Devices.h"
#include "emulator/JsonFile.h"

#include <QCryptographicHash>

#include <algorithm>
#include <array>
#include <filesystem>

namespace VrelRig::Records {

namespace {

constexpr std::array<char const*, 4> kStages = {"development", "manufacturing", "production",
                                                "decommissioned"};

QString fileNameOf(std::string const& path)
{
    return QString::fromStdString(std::filesystem::path(path).filename().string());
}

/** Reports the packets of a file going to the device, in quarters. */
void reportTransfer(Operation const& operation, std::string const& what, std::uint64_t size)
{
    constexpr std::uint64_t kSteps = 4;
    for (std::uint64_t step = 1; step <= kSteps; ++step) {
        auto const sent = size / kSteps * step + size % kSteps * step / kSteps;
        operation.trace("TX " + what + ' ' + std::to_string(sent) + " of " + std::to_string(size));
        operation.trace("RX " + what + " acknowledged");
        operation.info("Downloading " + what + ": " + std::to_string(step * 100 / kSteps) + " %");
    }
}

QJsonObject download(Operation const& operation, char const* what, InputFile const& file)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    operation.info(std::string("Downloading ") + what + ' ' + inQuotes(file.path()));
    file.read(0, file.size(),
              [&](std::string_view piece) { hash.addData(piece.data(), static_cast<int>(piece.size())); });
    reportTransfer(operation, what, file.size());
    return {{"file", fileNameOf(file.path())},
            {"size", static_cast<qint64>(file.size())},
            {"sha256", QString::fromLatin1(hash.result().toHex())}};
}

std::size_t rankOf(std::string const& stage, std::string const& source)
{
    auto const* const found = std::find(kStages.begin(), kStages.end(), stage);
    if (found != kStages.end())
        return static_cast<std::size_t>(found - kStages.begin());
    std::string known;
    for (auto const* const name : kStages)
        known += (known.empty() ? "" : ", ") + std::string(name);
    throw RigError(inQuotes(source) + " names no lifecycle stage (" + known + ")");
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

} // namespace

void downloadRecovery(Operation const& operation, VrelIfpRecord const& ifp)
{
    std::string const bytes(std::begin(ifp.bytes), std::end(ifp.bytes));
    storeCounted(operation.device.make("firmware"), "recovery.json",
                 {{"module", download(operation, "recovery module", *operation.module)},
                  {"ifpRecord", formatHex(bytes)}});
}

void downloadFwOs(Operation const& operation, char const* const (&files)[3], std::uint32_t flags)
{
    constexpr std::pair<char const*, char const*> kParts[] = {
        {"firmware image", "fwImage"}, {"OS recovery module", "osModule"}, {"OS image", "osImage"}};
    requiredText(files[0], "firmware image"); // the others are optional
    QJsonObject record = {{"flags", hexNumber(flags)},
                          {"fwModule", download(operation, "recovery module", *operation.module)}};
    for (std::size_t i = 0; i < std::size(kParts); ++i) {
        auto const& [title, key] = kParts[i];
        if (files[i] != nullptr && *files[i] != '\0')
            record.insert(QLatin1String(key), download(operation, title, openCallerFile(files[i], title)));
    }
    storeCounted(operation.device.make("firmware"), "fw-os.json", record);
}

void provision(Operation const& operation, std::string const& kind, char const* title, char const* path)
{
    auto const directory = operation.device.make("provisioning");
    auto const record = kind + ".json";
    auto const content = openCallerFile(path, title, 16 * kMebibyte).content();
    std::string const names[] = {kind + "-0.bin", kind + "-1.bin"};
    auto const last = directory.has(record) ? JsonFile(directory, record).text("content") : std::string();
    auto const& next = last == names[0] ? names[1] : names[0];
    operation.info(std::string("Provisioning ") + title + ' ' + inQuotes(path));
    directory.store(next, content);
    // The record comes last: until it names the new content, the old one counts.
    storeCounted(directory, record,
                 {{"content", QString::fromStdString(next)},
                  {"file", fileNameOf(path)},
                  {"size", static_cast<qint64>(content.size())}});
    if ((last == names[0] || last == names[1]) && directory.has(last))
        directory.remove(last);
}

void advanceLifecycle(Operation const& operation, char const* tokenPath)
{
    constexpr char const* kLifecycle = "lifecycle.json";
    auto const token = openCallerFile(tokenPath, "lifecycle token", 4096).content();
    auto const wanted = QByteArray::fromStdString(token).trimmed().toStdString();
    JsonFile const lifecycle(operation.device, kLifecycle);
    auto const stage = lifecycle.text("stage");
    if (rankOf(wanted, tokenPath) <= rankOf(stage, lifecycle.path()))
        throw RigError("The lifecycle stage moves forward only: it is " + inQuotes(stage) +
                       ", asked for is " + inQuotes(wanted));
    storeCounted(operation.device, kLifecycle, {{"stage", QString::fromStdString(wanted)}});
    operation.info("Lifecycle stage: " + stage + " -> " + wanted);
}

void writeToken(Operation const& operation, std::uint8_t slot, char const* tokenPath)
{
    auto const file = fileOf(slot);
    auto const slots = operation.device.make("tokens");
    auto const token = openCallerFile(tokenPath, "token file", kMebibyte).content();
    if (tokenIn(slots, file))
        operation.warning(titleOf(slot) + " is overwritten");
    slots.store(file, token);
    operation.info(titleOf(slot) + ": wrote " + std::to_string(token.size()) + " bytes");
}

void readToken(Operation const& operation, std::uint8_t slot, char const* targetPath)
{
    auto const target = requiredText(targetPath, "target file");
    auto const token = tokenIn(operation.device.make("tokens"), fileOf(slot));
    if (!token)
        throw RigError(titleOf(slot) + " is empty");
    copyToTarget(*token, 0, token->size(), target);
    operation.info(titleOf(slot) + ": read " + std::to_string(token->size()) + " bytes");
}

void eraseToken(Operation const& operation, std::uint8_t slot)
{
    auto const file = fileOf(slot);
    auto const slots = operation.device.make("tokens");
    if (!tokenIn(slots, file))
        throw RigError(titleOf(slot) + " is empty");
    slots.remove(file);
    operation.info(titleOf(slot) + ": erased");
}

void identify(Operation const& operation, std::uint32_t flags, std::uint32_t* oemId, VrelPlatformId* uniqueId,
              std::uint32_t* responseFlags, VrelIdResponse* response)
{
    operation.info("Identifying the device, flags " + std::to_string(flags));
    JsonFile const description(operation.device, kDescription);
    description.tell("oemId", oemId);
    description.tell("responseFlags", responseFlags);
    description.tell("uniqueId", required(uniqueId, "uniqueId").bytes);
    required(response, "response") = {};
    description.tell("responseHeader", response->header);
    description.tell("imageErrors", response->imageErrors);
}

} // namespace VrelRig::Records
