#pragma once

#include "external/HostExport.h"

#include <QStringList>

class QProcess;

/** The host's way to start the downloader; whoever is given one at construction owns it. */
class HOST_EXPORT DeviceManagerProgramTool
{
public:
    DeviceManagerProgramTool();
    virtual ~DeviceManagerProgramTool();

    DeviceManagerProgramTool(DeviceManagerProgramTool const&) = delete;
    DeviceManagerProgramTool& operator=(DeviceManagerProgramTool const&) = delete;

    /**
     * Starts the downloader in `process` and does not wait for its end.
     * @return whether it was started; the host knows which program it is and where it lies
     */
    virtual bool startProgram(QProcess& process, QStringList const& arguments) = 0;
};
