#pragma once

#include <QString>

#include <algorithm>
#include <optional>
#include <vector>

/** What the options of `run` and `station` ask for. */
struct RunOptions
{
    /** A device as the command line names it. */
    struct Device
    {
        bool isPath; ///< a USB path, otherwise a serial number
        QString text;
    };

    std::vector<Device> devices;        ///< in the order given
    bool isAll = false;                 ///< on every device that the vendor API lists
    bool isMany = false;                ///< results are wanted per device
    std::optional<int> jobs;            ///< devices at a time; all without
    std::optional<QString> exe;         ///< the downloader, as findProgram yields it; in-process without
    std::optional<int> timeout = 60000; ///< milliseconds, -1 for no limit; always there
    std::optional<int> wait;            ///< seconds, for a free vendor API and the devices
    bool isDryRun = false;
    bool isJson = false;                 ///< results as JSON
    bool isVerified = false;             ///< tokens are read back and compared
    std::optional<QString> logDirectory; ///< for a log file of each device
    std::optional<QString> job;          ///< what is to be done; named after the recipe without
    std::optional<QString> ledger;       ///< file of the record; none is kept without
    std::optional<QString> station;      ///< this place in the ledger; named after the host without
    bool isAgain = false;                ///< devices that are done are served again
    std::optional<int> interval = 500;   ///< milliseconds between two looks for devices; always there
    std::optional<int> stopAfter;        ///< successes

    bool isNamed() const { return isAll || !devices.empty(); }
    bool hasPath() const
    {
        return std::any_of(devices.begin(), devices.end(),
                           [](Device const& device) { return device.isPath; });
    }
};
