#pragma once

#include "framework/LogSink.h"
#include "tools/vrelhost/ledger/LedgerRows.h"

#include <QByteArray>
#include <QStringList>

#include <vector>

/** How something ended. */
struct Outcome
{
    enum Kind
    {
        NotRun,
        Success,
        Failure,
        Done ///< by an earlier service
    };

    bool isGood() const { return kind == Success || kind == Done; }

    Kind kind = NotRun;
    qint64 duration = 0; ///< milliseconds
    QString error;       ///< null without one
};

/** How a request or recipe ended on one device. */
struct DeviceResult : Outcome
{
    struct Step : Outcome
    {
        QString command;
    };

    DeviceName device;
    QString job;
    QString service;         ///< of the ledger; null without one
    std::vector<Step> steps; ///< of a recipe; otherwise empty
};

/** The results of runs in their two forms, UTF-8 with a line end; in tables what cannot be printed shows as
 * '?'. */
namespace RunReport {

QString word(Outcome const& outcome);

/** @param hasSteps whether the results are those of a recipe */
QByteArray toTable(std::vector<DeviceResult> const& results, bool hasSteps);

/**
 * One line of compact JSON: an array of objects with the keys serial, path, result, duration, error, job,
 * with a ledger service, and of a recipe steps.
 */
QByteArray toJson(std::vector<DeviceResult> const& results);

/** The table's parts where results come one by one; columns are as wide as they mostly need. */
QByteArray toTableHead(bool hasSteps);
QByteArray toTableRow(DeviceResult const& result);

/** One of the objects, with the key time. */
QByteArray toJsonLine(DeviceResult const& result, QString const& time);

/** Members that a log file's first line has beside those of any, each behind a comma. */
QByteArray toFirstMembers(DeviceResult const& result, QStringList const& commands,
                          std::vector<LedgerInput> const& inputs);

/** Likewise those of the last line. */
QByteArray toLastMembers(DeviceResult const& result);

} // namespace RunReport
