#pragma once

#include "framework/LogSink.h"

#include <QByteArray>

#include <vector>

/** How a request ended on one device. */
struct DeviceResult
{
    enum Outcome
    {
        NotRun,
        Success,
        Failure
    };

    DeviceName device;
    Outcome outcome = NotRun;
    qint64 duration = 0; ///< milliseconds
    QString error;       ///< null without one
};

/** The results of a run on many devices in their two forms, UTF-8 with a line end. */
namespace RunReport {

/** A table for people; what cannot be printed shows as '?'. */
QByteArray toTable(std::vector<DeviceResult> const& results);

/** One line of compact JSON: an array of objects with the keys serial, path, result, duration and error. */
QByteArray toJson(std::vector<DeviceResult> const& results);

} // namespace RunReport
