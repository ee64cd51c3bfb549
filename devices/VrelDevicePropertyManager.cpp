#include "devices/VrelDevicePropertyManager.h"

#include "devices/VrelClaimRule.h"
#include "devices/VrelSerialOutput.h"
#include "external/Device.h"
#include "external/DeviceManagerProgramTool.h"
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
    bool isCut;
};

/** The beginning of a process's standard output, taken while it runs so that nothing piles up. */
class BoundedOutput
{
public:
    explicit BoundedOutput(QProcess& process)
        : m_process(process)
    {
        QObject::connect(&process, &QProcess::channelReadyRead, &m_lifetime, [this] { take(); });
    }

    void take()
    {
        m_bytes += m_process.readAllStandardOutput();
        boundErrors();
        if (m_bytes.size() <= kMostOutput)
            return;
        m_bytes.truncate(kMostOutput);
        m_isCut = true;
    }

    QByteArray bytes() const { return m_bytes; }
    bool isCut() const { return m_isCut; }

private:
    /** The host may read them, in a slot of its own; what piles up is read by nobody. */
    void boundErrors()
    {
        m_process.setReadChannel(QProcess::StandardError);
        if (m_process.bytesAvailable() > kMostOutput)
            m_process.readAll();
        m_process.setReadChannel(QProcess::StandardOutput);
    }

    QObject m_lifetime;
    QProcess& m_process;
    QByteArray m_bytes;
    bool m_isCut = false;
};

/** Nothing when the downloader could not be started or did not exit by itself in time. */
std::optional<Run> runDownloader(DeviceManagerProgramTool& tool, QStringList const& arguments,
                                 LogHandler const& log)
{
    QProcess process;
    BoundedOutput output(process);
    if (!tool.startProgram(process, arguments))
        return std::nullopt;
    auto const exitCode = VrelProcessWait::waitForExit(process, kRunTime, log);
    if (!exitCode)
        return std::nullopt;
    output.take();
    return Run{*exitCode, VrelSerialOutput::text(output.bytes()), output.isCut()};
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
    LogHandler const& log = logHandler();
    auto const run = runDownloader(*tool, arguments, log);
    if (!run)
        return QString();

    log.logMessage(kTraceLevel,
                   QLatin1Char('"') + arguments.join(QStringLiteral("\" \"")) + QLatin1Char('"'));
    log.logMessage(kTraceLevel, QStringLiteral("Serial for UID ") + path);
    log.logMessage(kTraceLevel, QStringLiteral("Output: ") + run->output);
    log.logMessage(kTraceLevel, QStringLiteral("Error: ") + QString::number(run->exitCode));
    if (run->isCut)
        log.logMessage(kWarningLevel, QStringLiteral("Output for UID %1 beyond %2 bytes was dropped")
                                          .arg(path, QString::number(kMostOutput)));
    if (run->exitCode > 0) {
        log.logMessage(kWarningLevel, "Fail to get Vrel devices list");
        log.logMessage(kRawLevel, run->output);
    }
    // What was dropped might have held another line that looks like a serial number.
    return run->exitCode == 0 && !run->isCut ? VrelSerialOutput::serialNumber(run->output) : QString();
}

bool VrelDevicePropertyManager::isServed() const
{
    Device const* const served = device();
    return served != nullptr &&
           VrelClaimRule::isRecoveryDevice(served->getPort(), served->getVendorId(), served->getProductId());
}
