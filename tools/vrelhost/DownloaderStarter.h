#pragma once

#include "external/DeviceManagerProgramTool.h"

#include <QString>

/** Starts a downloader, named as findProgram yields it; one that cannot be run is not started. */
class DownloaderStarter : public DeviceManagerProgramTool
{
public:
    explicit DownloaderStarter(QString const& exe);

    bool startProgram(QProcess& process, QStringList const& arguments) override;

private:
    QString const m_exe; ///< empty when it cannot be run
};
