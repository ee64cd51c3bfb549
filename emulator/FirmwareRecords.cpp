#include "emulator/FirmwareRecords.h"

#include "emulator/CallerArgument.h"
#include "emulator/FileSystem.h"
#include "emulator/HexText.h"
#include "emulator/JsonFile.h"
#include "emulator/NumberText.h"

namespace VrelRig::FirmwareRecords {

namespace {

constexpr int kNumberDigits = 8;

/** Reports the packets of a file going to the device, in quarters. */
void reportTransfer(std::string const& what, std::uint64_t size, OperationLog const& log)
{
    constexpr std::uint64_t kSteps = 4;
    for (std::uint64_t step = 1; step <= kSteps; ++step) {
        auto const sent = size / kSteps * step + size % kSteps * step / kSteps;
        log.sent(what + ' ' + std::to_string(sent) + " of " + std::to_string(size));
        log.received(what + " acknowledged");
        log.info("Downloading " + what + ": " + std::to_string(step * 100 / kSteps) + " %");
    }
}

QJsonObject download(char const* what, InputFile const& file, OperationLog const& log)
{
    log.info(std::string("Downloading ") + what + ' ' + quoted(file.path()));
    auto const digest = digestOf(file);
    reportTransfer(what, digest.size, log);
    return {{"file", jsonValue(fileNameOf(file.path()))},
            {"size", static_cast<qint64>(digest.size)},
            {"sha256", jsonValue(digest.sha256)}};
}

/** Downloads an optional file into the record; one that is not given leaves no entry. */
void downloadGiven(char const* path, char const* what, char const* key, QJsonObject& record,
                   OperationLog const& log)
{
    if (path == nullptr || *path == '\0')
        return;
    record.insert(QLatin1String(key), download(what, openCallerFile(path, what), log));
}

void storeCounted(RigDevice const& device, std::string const& name, QJsonObject record)
{
    auto const path = device.file(name);
    record.insert(QLatin1String("count"), static_cast<qint64>(recordedCount(path)) + 1);
    device.rig().store(path, jsonText(record));
}

} // namespace

void downloadRecovery(RigDevice const& device, InputFile const& module, VrelIfpRecord const& ifp,
                      OperationLog const& log)
{
    auto const* const bytes = reinterpret_cast<char const*>(ifp.bytes);
    QJsonObject record;
    record.insert("module", download("recovery module", module, log));
    record.insert("ifpRecord", jsonValue(formatHex({bytes, sizeof(ifp.bytes)})));
    storeCounted(device, "firmware/recovery.json", record);
}

void downloadFwOs(RigDevice const& device, InputFile const& module, FwOsFiles const& files,
                  std::uint32_t flags, OperationLog const& log)
{
    auto const image = openCallerFile(files.fwImage, "firmware image");
    QJsonObject record;
    record.insert("flags", jsonValue(hexNumber(flags, kNumberDigits)));
    record.insert("fwModule", download("recovery module", module, log));
    record.insert("fwImage", download("firmware image", image, log));
    downloadGiven(files.osModule, "OS recovery module", "osModule", record, log);
    downloadGiven(files.osImage, "OS image", "osImage", record, log);
    storeCounted(device, "firmware/fw-os.json", record);
}

void countStartOver(RigDevice const& device, std::uint32_t flags)
{
    storeCounted(device, "start-over.json", {{"flags", jsonValue(hexNumber(flags, kNumberDigits))}});
}

} // namespace VrelRig::FirmwareRecords
