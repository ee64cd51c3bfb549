#pragma once

#include "tools/vrelhost/ScannedDevice.h"

#include <QString>

#include <list>
#include <optional>
#include <vector>

class DownloaderStarter;
class LogHandler;
class VrelManager;
struct DummyDevice;

/**
 * One scan as a host carries it out: finds devices, lets the library's filter claim its own, and asks the
 * library's property managers for serial numbers.
 */
class ScanSubcommand
{
public:
    enum class SerialSource
    {
        Api,
        Exe
    };

    /**
     * @param root as for UsbScanner
     * @param nodes directory of the device nodes, BUS/DEVICE of three digits each
     * @param exe the downloader; run for SerialSource::Exe only
     */
    ScanSubcommand(QString root, QString nodes, SerialSource source, QString exe, LogHandler const& log);

    /**
     * The devices in the order of their paths. A claimed device without a serial number is listed all the
     * same, and logged at level 2.
     * @return nothing, with the cause logged, when the devices could not be read or a downloader not be
     * waited for
     */
    std::optional<std::vector<ScannedDevice>> run() const;

private:
    void claimDevices(VrelManager& manager, std::list<DummyDevice>& devices) const;
    std::optional<std::vector<ScannedDevice>> identify(VrelManager& manager,
                                                       std::list<DummyDevice> const& devices) const;
    QString missingSerialCause(VrelManager& manager, DownloaderStarter const& starter) const;

    QString const m_root;
    QString const m_nodes;
    SerialSource const m_source;
    QString const m_exe;
    LogHandler const& m_log;
};
