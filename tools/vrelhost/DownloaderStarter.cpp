#include "tools/vrelhost/DownloaderStarter.h"

#include <QFileInfo>
#include <QProcess>

DownloaderStarter::DownloaderStarter(QString const& exe)
    : m_exe(QFileInfo(exe).absoluteFilePath()) // a name alone is not looked up in PATH
{
}

bool DownloaderStarter::startProgram(QProcess& process, QStringList const& arguments)
{
    process.start(m_exe, arguments, QIODevice::ReadOnly);
    return process.waitForStarted();
}
