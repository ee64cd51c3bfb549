#pragma once

#include "tools/vrelview/ListenAddress.h"

#include <QString>
#include <QStringList>

/** What a command line asks for. */
struct ViewOptions
{
    QString ledger;
    QString title;
    ListenAddress listen;

    QString answer; ///< what --help or --version show, in place of everything else
    QString fault;  ///< why the command line is rejected; empty when it is not

    static ViewOptions read(QStringList const& commandLine);
};
