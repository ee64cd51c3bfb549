#pragma once

#include "tools/vrelhost/ledger/LedgerError.h"
#include "tools/vrelhost/ledger/LedgerRows.h"

#include <QStringList>

class LedgerPool;

/** What a service is when it begins. */
struct LedgerBeginning
{
    QString serial;
    QString path; ///< null when it is not known
    QString job;
    QString station;
    QString route; ///< "in-process" or "downloader"
    QString log;   ///< the log file; null without one
    bool isRecipe = false;
    QStringList commands; ///< of the steps; of a request its own
    std::vector<LedgerInput> inputs;
    QString tool; ///< its version, and that of the library
    QString library;
};

/**
 * The record of what is done with boards, as those who serve them know it. Operations may be called on any
 * thread at any time; when one returns, what it was given survives a power cut. One that throws a LedgerError
 * has written nothing.
 */
class Ledger
{
public:
    Ledger() = default;
    virtual ~Ledger() = default;
    Ledger(Ledger const&) = delete;
    Ledger& operator=(Ledger const&) = delete;

    /** Opens the ledger if it is not open. To be called before boards are looked for. @throw LedgerError */
    virtual void makeReady() = 0;

    /**
     * Whether a board is done in a job: whether its last service there ended with success.
     * @return that service; null when it is not done
     * @throw LedgerError
     */
    virtual QString doneBy(QString const& serial, QString const& job) = 0;

    /**
     * Before the first operation on a board.
     * @return the new service
     * @throw LedgerError The board must not be touched.
     */
    virtual QString begin(LedgerBeginning const& beginning) = 0;

    /** Files of which it has turned out since the begin that they are read. @return as of endStep */
    virtual QString addInputs(QString const& service, std::vector<LedgerInput> const& inputs) = 0;

    /**
     * After a step that was run, before the next one begins.
     * @return empty, or what is not in the ledger and why; that is tried again with later operations
     */
    virtual QString endStep(QString const& service, LedgerStep const& step) = 0;

    /** After all steps. @param result "success" or "failure" @param error may be null @return as of endStep
     */
    virtual QString end(QString const& service, QString const& result, qint64 duration,
                        QString const& error) = 0;

    /**
     * Gives the board of a service a row of a pool: the first that no board has in any job, or the one that
     * it has taken in its job.
     * @return the place of the row in the pool, from 0
     * @throw LedgerError It has taken none: no row is left, its row is not in the pool any more, or it could
     * not be written. The text is for people.
     */
    virtual std::size_t take(QString const& service, LedgerPool& pool) = 0;
};

/** Where there is none: boards are never done, and services have no names. */
class NoLedger : public Ledger
{
public:
    void makeReady() override {}
    QString doneBy(QString const& /*serial*/, QString const& /*job*/) override { return QString(); }
    QString begin(LedgerBeginning const& /*beginning*/) override { return QString(); }
    QString addInputs(QString const& /*service*/, std::vector<LedgerInput> const& /*inputs*/) override
    {
        return QString();
    }
    QString endStep(QString const& /*service*/, LedgerStep const& /*step*/) override { return QString(); }
    QString end(QString const& /*service*/, QString const& /*result*/, qint64 /*duration*/,
                QString const& /*error*/) override
    {
        return QString();
    }
    std::size_t take(QString const& /*service*/, LedgerPool& /*pool*/) override
    {
        throw LedgerError(LedgerError::Refused,
                          QStringLiteral("\"take\" needs a ledger: name it with --ledger"));
    }
};
