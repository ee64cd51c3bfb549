#pragma once

#include "external/DeviceManagerProgramTool.h"

#include <QString>
#include <QStringList>

class LogHandler;
class VrelFlashUtils;

/**
 * A parsed request and a device, to be run by a downloader. One that is killed, because its time is over or
 * an Interruption asks for an end, takes with it all of its process group. One runs at a time.
 */
class DownloaderRun
{
public:
    /** Waits without limit. */
    static constexpr int kNoTimeout = -1;

    DownloaderRun(VrelFlashUtils& command, QString serial, LogHandler& log);

    /**
     * Says at level 1 why the downloader failed when it could not be run or was ended.
     * @param timeout milliseconds, or kNoTimeout
     */
    bool run(QString const& exe, int timeout);

    /** The downloader's arguments; runs nothing. */
    QStringList arguments();

private:
    VrelFlashUtils& m_command;
    QString const m_serial;
    LogHandler& m_log;
};

/** Starts downloaders for the library, which end as those of a DownloaderRun do. */
class DownloaderStarter : public DeviceManagerProgramTool
{
public:
    /** @param exe as findProgram yields it; one that cannot be run is not started */
    explicit DownloaderStarter(QString const& exe);

    bool startProgram(QProcess& process, QStringList const& arguments) override;

    /** Whether the last one was killed. */
    bool wasKilled() const { return m_wasKilled; }

private:
    QString const m_exe;
    bool m_wasKilled = false;
};
