#pragma once

#include <QString>
#include <QStringList>

class LogHandler;
class VrelFlashUtils;

/**
 * Runs a parsed request out of process; says at level 1 why a downloader failed when the library is silent.
 */
class RequestRunner
{
public:
    /** Waits without limit. */
    static constexpr int kNoTimeout = -1;

    /** @param timeout milliseconds, or kNoTimeout */
    RequestRunner(VrelFlashUtils& command, QString serial, LogHandler& log);

    bool runDownloader(QString const& exe, int timeout);

    /** The downloader's arguments; runs nothing. */
    QStringList downloaderArguments();

private:
    VrelFlashUtils& m_command;
    QString const m_serial;
    LogHandler& m_log;
};
