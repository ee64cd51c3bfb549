#pragma once

#include "commands/VrelFlashUtils.h"

#include <QStringList>

/** Takes the downloader's arguments in place of running it. */
class ArgumentCollector : public VrelFlashUtils::ExeRunner
{
public:
    void run(QProcess& /*process*/, QString const& /*exe*/, QStringList const& args,
             unsigned long long /*timeout*/) override
    {
        arguments = args;
    }

    QStringList arguments;
};
