#include "devices/VrelDevicePropertyManager.h"

#include "devices/VrelClaimRule.h"
#include "devices/VrelSerialOutput.h"
#include "external/Device.h"
#include "external/DeviceManagerProgramTool.h"
#include "plugin/VrelLogLevel.h"
#include "plugin/VrelManager.h"
#include "plugin/VrelProcessWait.h"

#include <QProcess>

#include <map>
#include <optional>

namespace {

constexpr int kRunTime = 5000;
/** Far above any honest answer. */
constexpr int kMostOutput = 1024 * 1024;

QString serialKey()
{
    return QStringLiteral("vrel.serial");
}

struct Run
{
    int exitCode;
    QString output;
};

/** Nothing when the downloader could not be started or did not end by itself within the bounds. */
std::optional<Run> runDownloader(DeviceManagerProgramTool& tool, QStringList const& arguments)
{
    QProcess process;
    if (!tool.startProgram(process, arguments))
        return std::nullopt;
    QByteArray output;
    auto const takeOutput = [&process, &output] {
        output += process.readAllStandardOutput();
        process.readAllStandardError(); // nobody reads it; it must not pile up
        return output.size() <= kMostOutput;
    };
    if (!VrelProcessWait::waitForEnd(process, kRunTime, takeOutput) || !takeOutput() ||
        process.exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return Run{process.exitCode(), VrelSerialOutput::text(output)};
}

} // namespace

VrelDevicePropertyManager::VrelDevicePropertyManager(VrelManager* plugin, DeviceManagerProgramTool* hostTool,
                                                     bool (*callback)(),
                                                     DevicePropertyManagerAllocatorBase* allocator,
                                                     Device* device, DummyDevice const& record)
    : DevicePropertyManager(allocator, device, record)
    , manager(plugin)
    , tool(hostTool)
    , useApi(callback)
{
    VrelDevicePropertyManager::deviceUpdated(record);
}

VrelDevicePropertyManager::~VrelDevicePropertyManager() = default;

void VrelDevicePropertyManager::getProperty(QString const& name, QString& value)
{
    if (!value.isNull() || !isServed())
        return;
    bool const isSerial =
        name == serialKey() || (name == QLatin1String("serial") && device()->getKind() == 1);
    if (!isSerial || !serial.isNull())
        return;
    if (useApi())
        updateSerialThoughApi(value);
    else
        updateSerialThoughExe(value);
}

bool VrelDevicePropertyManager::isBusy() const
{
    return false;
}

void VrelDevicePropertyManager::deviceUpdated(DummyDevice const& record)
{
    auto const property = record.properties.find(serialKey());
    if (property != record.properties.end())
        serial = property->second;
}

bool VrelDevicePropertyManager::updateSerialThoughApi(QString& value)
{
    return updateSerial(value, &VrelDevicePropertyManager::serialFromApi);
}

bool VrelDevicePropertyManager::updateSerialThoughExe(QString& value)
{
    return updateSerial(value, &VrelDevicePropertyManager::serialFromExe);
}

bool VrelDevicePropertyManager::updateSerial(QString& value, Fetch fetch)
{
    if (manager == nullptr || !isServed())
        return false;
    if (serial.isNull()) {
        QString const path = device()->getProperty(QStringLiteral("usb.devicePath"));
        if (!path.isEmpty())
            serial = (this->*fetch)(path);
    }
    if (serial.isNull())
        return false;
    value = serial;
    return true;
}

QString VrelDevicePropertyManager::serialFromApi(QString const& path) const
{
    VrelApiManager api = manager->fetchApi();
    std::map<QString, QString> devices;
    if (!api || api.getDeviceList(devices) != 0)
        return QString();
    auto const entry = devices.find(path);
    return entry == devices.end() ? QString() : entry->second;
}

QString VrelDevicePropertyManager::serialFromExe(QString const& path) const
{
    if (tool == nullptr)
        return QString();
    QStringList const arguments{QStringLiteral("getSerial"), QStringLiteral("--quiet"),
                                QStringLiteral("--uid"), path};
    auto const run = runDownloader(*tool, arguments);
    if (!run)
        return QString();

    LogHandler const& log = logHandler();
    log.logMessage(VrelLogLevel::kTrace,
                   QLatin1Char('"') + arguments.join(QStringLiteral("\" \"")) + QLatin1Char('"'));
    log.logMessage(VrelLogLevel::kTrace, QStringLiteral("Serial for UID ") + path);
    log.logMessage(VrelLogLevel::kTrace, QStringLiteral("Output: ") + run->output);
    log.logMessage(VrelLogLevel::kTrace, QStringLiteral("Error: ") + QString::number(run->exitCode));
    if (run->exitCode > 0) {
        log.logMessage(VrelLogLevel::kWarning, "Fail to get Vrel devices list");
        log.logMessage(VrelLogLevel::kRaw, run->output);
    }
    return run->exitCode == 0 ? VrelSerialOutput::serialNumber(run->output) : QString();
}

bool VrelDevicePropertyManager::isServed() const
{
    Device const* const served = device();
    return served != nullptr &&
           VrelClaimRule::isRecoveryDevice(served->getPort(), served->getVendorId(), served->getProductId());
}
