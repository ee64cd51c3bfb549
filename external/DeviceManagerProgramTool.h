#pragma once

#include "external/HostExport.h"

#include <QStringList>

class QProcess;

/** The host's way to start the downloader; a factory of property managers owns its own and lends it to them.
 */
class HOST_EXPORT DeviceManagerProgramTool
{
public:
    DeviceManagerProgramTool();
    virtual ~DeviceManagerProgramTool();

    DeviceManagerProgramTool(DeviceManagerProgramTool const&) = delete;
    DeviceManagerProgramTool& operator=(DeviceManagerProgramTool const&) = delete;

    /**
     * Starts the downloader in `process`; neither waits for its end nor runs an event loop that could see it.
     * Children's exit statuses stay for those who wait for them: SIGCHLD is not ignored, and nobody waits for
     * all children of the process.
     * @return whether it was started; the host knows which program it is and where it lies
     */
    virtual bool startProgram(QProcess& process, QStringList const& arguments) = 0;
};
