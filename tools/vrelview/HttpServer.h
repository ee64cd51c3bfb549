#pragma once

#include "tools/vrelview/HttpMessage.h"

#include <QByteArray>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

/** What a server answers. */
class HttpSite
{
public:
    /** Answers that take time are made one after another in each, so that quick ones are not behind slow
     * ones. */
    enum class Lane
    {
        Quick,
        Slow
    };

    virtual ~HttpSite() = default;

    /** Nothing when the answer takes time. Called on a thread of the server's. */
    virtual std::optional<HttpAnswer> answerAtOnce(HttpRequest const& request) const = 0;

    virtual Lane laneOf(HttpRequest const& request) const = 0;

    /** Called by HttpServer::serve of its lane, as is what an answer has of functions. */
    virtual HttpAnswer answer(HttpRequest const& request) = 0;
};

/**
 * An HTTP server. One thread has all connections, so a thousand of them take little memory, and one that is
 * slow makes none wait: a connection whose answer is not there yet, or that follows the announcements, is put
 * aside until there is something to be sent. Answers that take time are made where `serve` is called.
 */
class HttpServer
{
public:
    /** @param socket one that listens; it becomes the server's */
    HttpServer(int socket, HttpSite& site);
    ~HttpServer();
    HttpServer(HttpServer const&) = delete;
    HttpServer& operator=(HttpServer const&) = delete;

    /** False when the system has not what it needs. */
    bool isRunning() const { return m_daemon != nullptr; }

    /** Makes answers of a lane until the server is told to end. From one thread for each. */
    void serve(HttpSite::Lane lane);

    /** Lets `serve` return, once the answer at hand is made. */
    void end();

    /** Sends the event "change" to all who follow; who cannot take it yet gets the last one when they can. */
    void announceChange(QByteArray const& data);

    /** Sends the event "alive", so that either side finds out when the other is gone. */
    void announceLife();

    /** Closes connections that do not come to the end of a request's head in time. */
    void dropSlow();

private:
    struct Daemon;
    struct Connection;
    struct Exchange;

    bool putAside(Exchange& exchange);
    bool hasNews(Exchange& exchange) const;
    void resumeFollowers();
    static void refuse(Exchange& exchange);
    void make(Exchange& exchange) const;

    HttpSite& m_site;
    std::mutex m_mutex;
    std::condition_variable m_isWanted;
    std::deque<Exchange*> m_waiting[2]; ///< put aside until `serve` has made their answer, or its next part
    std::set<Exchange*> m_followers;    ///< put aside until the next announcement
    std::set<Connection*> m_inHead;     ///< whose request has not come to the end of its head
    QByteArray m_change;                ///< what the last change was announced by
    quint64 m_changes = 0;              ///< how many have been announced
    quint64 m_lives = 0;
    bool m_isEnding = false;
    std::unique_ptr<Daemon> m_daemon;
};
