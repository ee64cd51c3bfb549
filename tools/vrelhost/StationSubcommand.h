#pragma once

#include "tools/common/VendorApi.h"
#include "tools/vrelhost/DeviceRun.h"
#include "tools/vrelhost/Interruption.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>

class LogHandler;
class TerminalLog;

/** Carries a request or recipe out on each device that appears, until an end is asked for. */
class StationSubcommand
{
public:
    /** Takes a line of results at once. @param what is in it, for people */
    using Output = std::function<void(QByteArray const& line, QString const& what)>;

    /** @param terminal shows the work; may be null */
    StationSubcommand(RunOptions options, Recipe recipe, LogHandler& log, TerminalLog* terminal,
                      Output output);
    ~StationSubcommand();

    StationSubcommand(StationSubcommand const&) = delete;
    StationSubcommand& operator=(StationSubcommand const&) = delete;

    /** @return the exit code */
    int run();

private:
    /** One appearance of a device. */
    struct Service;

    enum class State
    {
        Served,   ///< now, or with success
        Unlisted, ///< likewise, and gone since: what is served now has appeared again when it is listed
        Finished, ///< to be served when it appears again
    };

    void serveUntilEnd();
    bool isEnough() const;
    bool look(VrelApiManager& api, VendorApi::DeviceList& list);
    void forgetAbsent(VendorApi::DeviceList const& list);
    void serveDue(VendorApi::DeviceList const& list, VrelApiManager const& api);
    bool isDue(VendorApi::DeviceList::value_type const& device, VendorApi::DeviceList const& list);
    void serve(DeviceName const& device, VrelApiManager const& api);
    void waitForEnd(std::chrono::milliseconds time);
    bool hasEnded() const;
    void collect();
    void tell(DeviceResult const& result);
    void showProgress();

    RunOptions const m_options;
    Recipe const m_recipe;
    LogHandler& m_log;
    TerminalLog* const m_terminal;
    Output const m_output;
    Interruption const m_interruption;
    RunSetting m_setting;

    std::map<QString, State> m_states; ///< by serial number, of devices that were begun
    std::set<QString> m_refused;       ///< paths of listed devices that cannot be named
    bool m_isListFailing = false;
    bool m_isListFull = false;
    int m_succeeded = 0;
    int m_failed = 0;

    std::mutex m_mutex; ///< guards what the services' threads tell
    std::condition_variable m_ended;
    std::list<Service> m_services; ///< under way; the list itself is this thread's
};
