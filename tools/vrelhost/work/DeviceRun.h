#pragma once

#include "commands/VrelFlashUtils.h"
#include "plugin/VrelManager.h"
#include "tools/vrelhost/log/RunLog.h"
#include "tools/vrelhost/log/RunReport.h"
#include "tools/vrelhost/request/Recipe.h"
#include "tools/vrelhost/work/Interruption.h"
#include "tools/vrelhost/work/RunOptions.h"
#include "tools/vrelhost/work/TokenCheck.h"

#include <memory>
#include <optional>
#include <vector>

class Console;
class LogHandler;
class TargetFiles;

/** What a run or a station is to do, and what its devices share; outlives each DeviceRun. */
struct RunSetting
{
    RunOptions const options;
    Recipe const recipe;
    Console const& console;
    LogHandler& toolLog;

    Interruption const interruption = {};
    std::optional<VrelManager> manager = {}; ///< where this process uses the vendor API
    std::optional<RunLog> log = {};
    std::optional<TokenCheck> tokenCheck = {}; ///< where tokens are verified

    /** Makes ready for running. @return false, with the cause logged at level 1 */
    bool prepare();
};

/** A recipe on one device. */
class DeviceRun
{
public:
    /** @param api handle for this device alone; without an API object out of process */
    DeviceRun(RunSetting& setting, DeviceName device, VrelApiManager const& api);

    /**
     * Judges the recipe for the device.
     * @param targets takes the files that it writes; null where these need no watch
     * @return whether it can be run; if not, the cause is logged at level 1
     */
    bool prepare(TargetFiles* targets, LogHandler& log);

    /** One JSON array a line for each request. */
    QByteArray downloaderArguments(LogHandler& log);

    /** Takes the steps until one fails or an end is asked for. @param log of RunSetting::log */
    void run(LogHandler& log);

    /** The result where it cannot be run. */
    void reject(LogHandler const& log);

    DeviceResult const& result() const { return m_result; }

private:
    struct Step
    {
        std::unique_ptr<VrelFlashUtils> request; ///< null for a wait
        int wait;
    };

    bool parse(Recipe::Step const& step, TargetFiles* targets, LogHandler& log);
    bool carryOut(Step const& step, LogHandler& log) const;
    bool runRequest(VrelFlashUtils& request, LogHandler& log) const;
    bool wait(int seconds, LogHandler const& log) const;

    RunSetting& m_setting;
    VrelApiManager const m_api;
    std::vector<Step> m_steps;
    DeviceResult m_result;
};
