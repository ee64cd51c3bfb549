#include "tools/vrelhost/DownloaderStarter.h"

#include "tools/common/ExecutableFault.h"

#include <QFileInfo>
#include <QProcess>

DownloaderStarter::DownloaderStarter(QString const& exe)
    // A name that findProgram left alone must not become a file of the working directory.
    : m_exe(executableFault(exe).isEmpty() ? QFileInfo(exe).absoluteFilePath() : QString())
{
}

bool DownloaderStarter::startProgram(QProcess& process, QStringList const& arguments)
{
    if (m_exe.isEmpty())
        return false;
    process.start(m_exe, arguments, QIODevice::ReadOnly);
    return process.waitForStarted();
}
