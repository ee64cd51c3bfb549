#pragma once

#include "commands/VrelFlashUtils.h"

class Interruption;

/**
 * Runs a downloader, and kills it when its time is over or an end was asked for, however much it prints. With
 * a GroupLeader for the process, all that the downloader started is killed too.
 */
class InterruptibleRunner : public VrelFlashUtils::ExeRunner
{
public:
    explicit InterruptibleRunner(Interruption const& interruption);

    void run(QProcess& process, QString const& exe, QStringList const& args,
             unsigned long long timeout) override;

private:
    Interruption const& m_interruption;
};
