#pragma once

#include "external/DeviceManagerProgramTool.h"

#include <QString>

/** Starts the downloader at a given path. */
class DownloaderStarter : public DeviceManagerProgramTool
{
public:
    explicit DownloaderStarter(QString const& exe);

    bool startProgram(QProcess& process, QStringList const& arguments) override;

private:
    QString const m_exe;
};
