#pragma once

#include "tools/vrelhost/ledger/LedgerReader.h"
#include "tools/vrelview/HttpServer.h"
#include "tools/vrelview/KeptAnswers.h"
#include "tools/vrelview/LedgerWatch.h"
#include "tools/vrelview/ListenAddress.h"

#include <QByteArray>
#include <QString>

#include <map>

/** The page and what is to be read of a ledger at its addresses. */
class Site : public HttpSite
{
public:
    /** @param address where the server listens */
    Site(QString const& ledger, QString const& title, ListenAddress address);

    std::optional<HttpAnswer> answerAtOnce(HttpRequest const& request) const override;
    Lane laneOf(HttpRequest const& request) const override;
    HttpAnswer answer(HttpRequest const& request) override;

    /**
     * Looks at the ledger; from one thread, as `fault`.
     * @return the data of an event that says what has changed; empty when nothing has
     */
    QByteArray news();

    /** Why the ledger could not be read at the last look; empty when it could. */
    QString const& fault() const { return m_watch.fault(); }

private:
    struct Address;

    static Address const* addressOf(QByteArray const& path);
    HttpAnswer make(Address const& address, HttpRequest const& request);

    void requireLedger() const;
    HttpAnswer boards(LedgerFilter const& filter) const;
    HttpAnswer csv(LedgerFilter const& filter) const;
    HttpAnswer services(LedgerFilter const& filter) const;
    HttpAnswer summary(LedgerFilter const& filter) const;
    HttpAnswer places(LedgerFilter const& filter) const;
    HttpAnswer hours(LedgerFilter const& filter) const;
    HttpAnswer events(HttpRequest const& request) const;
    HttpAnswer metrics(HttpRequest const& request) const;
    HttpAnswer health(HttpRequest const& request) const;
    HttpAnswer search(HttpRequest const& request) const;
    HttpAnswer board(HttpRequest const& request) const;
    HttpAnswer log(HttpRequest const& request) const;

    ListenAddress const m_address;
    LedgerReader const m_reader;
    std::map<QByteArray, HttpAnswer> m_files; ///< of the page, by path
    KeptAnswers m_kept;
    LedgerWatch m_watch;
    quint64 m_ledgerChanges = 0;
    quint64 m_lineChanges = 0;
};
