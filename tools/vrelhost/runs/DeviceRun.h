#pragma once

#include "commands/VrelFlashUtils.h"
#include "plugin/VrelManager.h"
#include "tools/vrelhost/ledger/InputFiles.h"
#include "tools/vrelhost/ledger/Ledger.h"
#include "tools/vrelhost/log/RunLog.h"
#include "tools/vrelhost/log/RunReport.h"
#include "tools/vrelhost/request/Placeholders.h"
#include "tools/vrelhost/request/Recipe.h"
#include "tools/vrelhost/request/SourceFiles.h"
#include "tools/vrelhost/runs/Interruption.h"
#include "tools/vrelhost/runs/RowPool.h"
#include "tools/vrelhost/runs/RunOptions.h"
#include "tools/vrelhost/runs/TokenCheck.h"

#include <QProcessEnvironment>

#include <atomic>
#include <functional>
#include <map>
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

    Interruption const interruption;
    std::unique_ptr<Ledger> ledger = std::make_unique<NoLedger>();
    std::atomic<bool> hasLedgerGap = false; ///< something could not be written
    InputFiles inputs = {};
    std::map<TableFile const*, RowPool> pools = {}; ///< of the tables whose rows are taken
    std::optional<VrelManager> manager = {};        ///< where this process uses the vendor API
    std::optional<RunLog> log = {};
    std::optional<TokenCheck> tokenCheck = {}; ///< where tokens are verified

    QString job() const { return options.job.value_or(recipe.digest); }

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
     * Judges the recipe for the device. What this device alone lacks, such as a file of its own, lets it fail
     * when it is run.
     * @param targets takes the files that it writes
     * @return whether it can be run; if not, the cause is logged at level 1
     */
    bool prepare(TargetFiles& targets, LogHandler& log);

    /** Whether the ledger has it as done, so that it is not to be run. Throws LedgerError. */
    bool isDone();

    /** One JSON array a line for each request; nothing, with the cause logged, for a device that would fail.
     */
    std::optional<QByteArray> downloaderArguments(LogHandler& log);

    /**
     * Takes the steps until one fails or an end is asked for; one that cannot be run fails at once. What is
     * not begun, for want of the ledger, is not touched, and has the cause as its result's error.
     * @param log of RunSetting::log
     */
    void run(LogHandler& log);

    DeviceResult const& result() const { return m_result; }

private:
    /** What a step needs with placeholders filled in. */
    struct Prepared
    {
        std::unique_ptr<VrelFlashUtils> request;
        QStringList words;
        bool isReady = false;
    };

    int prepareSteps(LogHandler& log);
    bool prepareStep(std::size_t index, LogHandler& log);
    bool prepareRequest(RequestTemplate const& request, std::size_t index, LogHandler& log);
    void prepareRow(Step::Row const& row);
    bool takeRow(TableFile const& table, LogHandler& log);
    void require(std::size_t index, std::function<void()> const& judge);
    bool isLacking(LogHandler const& log) const;
    bool begin(LogHandler const& log);
    void runSteps(LogHandler& log);
    void endStep(std::size_t index, Outcome const& outcome);
    void fail(LogHandler const& log);
    void noteGap(QString const& gap);
    std::vector<LedgerInput> describe(QStringList const& files);
    bool carryOut(std::size_t index, LogHandler& log);
    bool runAndVerify(VrelFlashUtils& request, LogHandler& log) const;
    bool runRequest(VrelFlashUtils& request, LogHandler& log) const;
    bool wait(Step::Wait const& wait, LogHandler const& log) const;
    QProcessEnvironment environment() const;

    RunSetting& m_setting;
    VrelApiManager const m_api;
    DeviceResult m_result;
    Placeholders m_values;
    QStringList m_awaited; ///< placeholders that nothing gives yet
    SourceFiles m_files;
    TargetFiles* m_targets = nullptr;
    std::vector<Prepared> m_steps;
    QStringList m_recorded; ///< files
    bool m_isRejected = false;
    QString m_lack; ///< what this device alone lacks; empty when it lacks nothing
};
