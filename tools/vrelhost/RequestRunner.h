#pragma once

#include <QString>
#include <QStringList>

class Interruption;
class LogHandler;
class VrelFlashUtils;

/**
 * Runs a parsed request out of process; says at level 1 why a downloader failed when it was ended or nothing
 * else says so at that level.
 */
class RequestRunner
{
public:
    /** Waits without limit. */
    static constexpr int kNoTimeout = -1;

    /** @param interruption ends a downloader; null leaves all to the library */
    RequestRunner(VrelFlashUtils& command, QString serial, LogHandler& log,
                  Interruption const* interruption = nullptr);

    /** @param timeout milliseconds, or kNoTimeout */
    bool runDownloader(QString const& exe, int timeout);

    /** The downloader's arguments; runs nothing. */
    QStringList downloaderArguments();

private:
    bool run(QString const& exe, unsigned long long timeout);

    VrelFlashUtils& m_command;
    QString const m_serial;
    LogHandler& m_log;
    Interruption const* const m_interruption;
};
