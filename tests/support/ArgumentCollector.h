#pragma once

#include "commands/VrelFlashUtils.h"

#include <QProcess>
#include <QStringList>

/** Takes what a downloader would be run with in place of running it. */
class ArgumentCollector : public VrelFlashUtils::ExeRunner
{
public:
    void run(QProcess& callers, QString const& program, QStringList const& args,
             unsigned long long limit) override
    {
        process = &callers;
        exe = program;
        arguments = args;
        timeout = limit;
    }

    /** The arguments that a command is run with. */
    static QStringList of(VrelFlashUtils& utils, QString const& serial)
    {
        LogHandler log;
        QProcess process;
        ArgumentCollector collector;
        utils.commonRun(process, QStringLiteral("/bin/true"), serial, log, collector, 0);
        return collector.arguments;
    }

    QProcess const* process = nullptr;
    QString exe;
    QStringList arguments;
    unsigned long long timeout = 0;
};
