#pragma once

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"

#include <QProcess>
#include <QStringList>

/** Takes the downloader's arguments in place of running it. */
class ArgumentCollector : public VrelFlashUtils::ExeRunner
{
public:
    ArgumentCollector(VrelFlashUtils& utils, QString const& serial)
    {
        LogHandler log;
        QProcess process;
        utils.commonRun(process, QStringLiteral("/bin/true"), serial, log, *this, 0);
    }

    void run(QProcess& /*process*/, QString const& /*exe*/, QStringList const& args,
             unsigned long long /*timeout*/) override
    {
        arguments = args;
    }

    QStringList arguments;
};
