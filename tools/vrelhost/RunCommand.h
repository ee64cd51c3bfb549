#pragma once

#include "tools/common/VendorApi.h"
#include "tools/vrelhost/Interruption.h"
#include "tools/vrelhost/RequestTemplate.h"
#include "tools/vrelhost/RunOptions.h"

#include <QByteArray>

#include <deque>
#include <functional>
#include <optional>

class LogHandler;

/**
 * Carries a request out on the devices that the options name, one or many. After the run, signals go on being
 * held off as Interruption does while the object lives, so that the output can be written.
 */
class RunCommand
{
public:
    struct Result
    {
        int exitCode;
        QByteArray output; ///< for standard output
    };

    /** Told how many of all devices are done, at the beginning and whenever one is; from any thread. */
    using Progress = std::function<void(int done, int total)>;

    RunCommand(RunOptions options, JsonObject const& request, LogHandler& log, Progress progress);

    /** All devices' requests are judged before anything is run. */
    Result run();

private:
    struct DeviceRun;
    using DeviceRuns = std::deque<DeviceRun>;

    bool isInProcess() const;
    bool needsList() const;
    bool readList(VrelApiManager& api, VendorApi::DeviceList& list) const;
    std::optional<std::vector<DeviceName>> devices(VendorApi::DeviceList const& list) const;
    bool prepare(std::vector<DeviceName> const& devices, VrelApiManager const& api, DeviceRuns& runs) const;

    QByteArray downloaderArguments(DeviceRuns& runs) const;
    bool runOne(DeviceRun& run, LogHandler& log) const;
    Result runMany(std::vector<DeviceName> const& devices, DeviceRuns& runs);

    RunOptions const m_options;
    RequestTemplate const m_template;
    LogHandler& m_log;
    Progress const m_progress;
    std::optional<Interruption> m_interruption; ///< since the run began
};
