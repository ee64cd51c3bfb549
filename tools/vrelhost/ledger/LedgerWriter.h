#pragma once

#include "tools/vrelhost/ledger/Ledger.h"
#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelhost/ledger/LedgerProcesses.h"

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <sys/types.h>
#include <thread>
#include <utility>
#include <vector>

/**
 * A ledger in a file. A thread of its own has the connection; what several threads want to write at once gets
 * to the disk at once.
 */
class LedgerWriter : public Ledger
{
public:
    /** Opens nothing yet. */
    explicit LedgerWriter(QString file);
    ~LedgerWriter() override;

    void makeReady() override;
    QString doneBy(QString const& serial, QString const& job) override;
    QString begin(LedgerBeginning const& beginning) override;
    QString addInputs(QString const& service, std::vector<LedgerInput> const& inputs) override;
    QString endStep(QString const& service, LedgerStep const& step) override;
    QString end(QString const& service, QString const& result, qint64 duration,
                QString const& error) override;
    std::size_t take(QString const& service, LedgerPool& pool) override;

private:
    using Work = std::function<void(LedgerDatabase const& database)>;

    /** What a thread waits for. */
    struct Order
    {
        Work const& work;
        bool isAlone;                                       ///< needs a transaction of its own
        std::promise<std::optional<LedgerError>> done = {}; ///< a value: threads would share an exception
    };
    using Orders = std::vector<Order*>;

    void carryOut(Work const& work, bool isAlone = false);
    void startThread();
    QString note(QString const& what, Work const& work);

    void serve();
    void carryOutAtOnce(Orders const& orders);
    void carryOutMissed();
    LedgerDatabase const& database();
    qint64 registered(LedgerDatabase const& database);

    QString const m_file;

    std::mutex m_mutex; ///< guards what follows, the thread included
    std::condition_variable m_change;
    Orders m_orders;
    std::vector<Work> m_missed; ///< notes that could not be written
    bool m_isOver = false;
    std::thread m_thread;

    // Of the thread alone.
    std::optional<LedgerProcesses> m_processes;
    qint64 m_process = 0;
    std::optional<LedgerDatabase> m_database;
    std::pair<dev_t, ino_t> m_identity;
};
