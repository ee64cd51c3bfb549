#pragma once

#include "tools/common/VendorApi.h"
#include "tools/vrelhost/DeviceRun.h"
#include "tools/vrelhost/Interruption.h"

#include <QByteArray>

#include <deque>
#include <optional>

class LogHandler;
class TerminalLog;

/**
 * Carries a request or recipe out on the devices that the options name, one or many. After the run, signals
 * go on being held off as Interruption does while the object lives, so that the output can be written.
 */
class RunSubcommand
{
public:
    struct Result
    {
        int exitCode;
        QByteArray output; ///< for standard output
    };

    /** @param terminal shows the work; may be null */
    RunSubcommand(RunOptions options, Recipe recipe, LogHandler& log, TerminalLog* terminal);

    /** All devices' requests are judged before anything is run. */
    Result run();

private:
    using DeviceRuns = std::deque<DeviceRun>;

    bool isInProcess() const;
    bool needsList() const;
    bool find(VrelManager& manager, VrelApiManager& api, VendorApi::DeviceList& list) const;
    bool readList(VrelApiManager& api, VendorApi::DeviceList& list) const;
    QString missing(VrelApiManager& api, VendorApi::DeviceList& list) const;
    std::optional<std::vector<DeviceName>> devices(VendorApi::DeviceList const& list) const;
    std::vector<DeviceName> awaited() const;
    bool judge(std::vector<DeviceName> const& devices, RunSetting& setting, VrelApiManager const& api,
               DeviceRuns& runs) const;
    QByteArray downloaderArguments(DeviceRuns& runs) const;
    Result runOne(DeviceRun& run, LogHandler& log) const;
    Result runMany(DeviceRuns& runs, std::vector<LogHandler*> const& logs) const;

    RunOptions const m_options;
    Recipe const m_recipe;
    LogHandler& m_log;
    TerminalLog* const m_terminal;
    std::optional<Interruption> m_interruption; ///< since the run began
};
