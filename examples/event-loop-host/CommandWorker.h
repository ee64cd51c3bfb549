#pragma once

#include "external/JsonObject.h"
#include "external/LogHandler.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

class QThread;
class VrelApiManager;
class VrelManager;
struct LogLine;

/**
 * Carries requests out on one device, one after the other up to the first that fails, on a thread of its own,
 * so that the host's event loop goes on meanwhile. Signals reach the thread that their receiver lives on.
 */
class CommandWorker : public QObject
{
    Q_OBJECT

public:
    /** How a host's workers reach their devices. */
    struct Route
    {
        VrelManager& manager;
        QString downloader = {}; ///< its path; empty: in-process, through the vendor API
        int timeout = 60000;     ///< milliseconds for each run of the downloader; -1 waits without limit
        /** Held while a downloader runs: this process must not hold the vendor API then, not even for a look.
         */
        std::mutex downloaderRuns = {};
    };

    CommandWorker(Route& route, QString serial, std::vector<JsonObject> requests);
    /** Cancels, and waits for the end: in-process for as long as the vendor's operation takes. */
    ~CommandWorker() override;

    void start();

    /**
     * Begins no further request, and ends a running downloader with all that it has started. From any thread.
     * The vendor API cannot break off an operation: one in-process goes on to its end, and counts as it ends.
     */
    void cancel();

    /** The process's log sink: hands lines to the workers that they belong to, and shows the others. */
    static void dispatch(LogLine const& line);

Q_SIGNALS:
    void line(int level, QString const& text);
    /** In percent, where a message of the vendor API tells it; it may begin anew within an operation. */
    void progress(int percent);
    /** Comes once after start, cancelled or not. @param error the last line at level 0 or 1 of a failure */
    void finished(bool succeeded, QString const& error);

    void cancelled();

private:
    class Downloader;

    void work();
    bool carryOut(JsonObject const& request, VrelApiManager const& api);
    bool fail(QString const& error);

    Route& m_route;
    QString const m_serial;
    std::vector<JsonObject> const m_requests;
    LogHandler& m_log;
    QString m_error; ///< guarded as the table of handlers is
    std::atomic<bool> m_isCancelled{false};
    std::unique_ptr<QThread> const m_thread;
};
