#include "tools/vrelview/HttpServer.h"

#include <microhttpd.h>

#include <algorithm>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kConnections = 800; // below the usual limit of 1024 open files
constexpr std::size_t kHeadSize = 16384;
constexpr unsigned kIdleSeconds = 10;
constexpr std::chrono::seconds kHeadTime(5);
constexpr std::size_t kPartSize = 16384;

/** On every answer. Nothing from elsewhere is loaded, run or framed, and nothing is kept: tomorrow's boards
 * are others. */
constexpr char const* kHeaders[][2] = {
    {"Content-Security-Policy", "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
                                "connect-src 'self'; base-uri 'none'; "
                                "form-action 'self'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

void dropMessage(void* /*unused*/, char const* /*format*/, va_list /*values*/)
{
}

} // namespace

struct HttpServer::Connection
{
    int socket = -1;
    Clock::time_point since; ///< when the head of its request could begin
    QByteArray target;
};

/** A request and its answer. While it is put aside it belongs to `serve` or `announce`, else to the server's
 * thread. */
struct HttpServer::Exchange
{
    HttpServer* server;
    MHD_Connection* connection;
    HttpRequest request;
    std::optional<HttpAnswer> answer;
    QByteArray part; ///< of an answer that comes in parts, from `sent` on
    int sent = 0;
    quint64 seenChanges = 0;
    quint64 seenLives = 0;
    bool isWhole = false;
    bool isBroken = false;
};

struct HttpServer::Daemon
{
    MHD_Daemon* daemon;

    static Connection& connectionOf(MHD_Connection* connection)
    {
        return *static_cast<Connection*>(
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
    }

    static void notify(void* self, MHD_Connection* connection, void** context,
                       MHD_ConnectionNotificationCode code)
    {
        auto& server = *static_cast<HttpServer*>(self);
        std::lock_guard const lock(server.m_mutex);
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            int const socket =
                MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
            auto* const made = new Connection{socket, Clock::now(), {}};
            *context = made;
            server.m_inHead.insert(made);
        } else {
            auto* const ended = static_cast<Connection*>(*context);
            server.m_inHead.erase(ended);
            delete ended;
        }
    }

    /** The only one that gets to know the target as it was sent. */
    static void* noteTarget(void* /*self*/, char const* target, MHD_Connection* connection)
    {
        connectionOf(connection).target = target;
        return nullptr;
    }

    static void complete(void* self, MHD_Connection* connection, void** exchange,
                         MHD_RequestTerminationCode /*code*/)
    {
        auto& server = *static_cast<HttpServer*>(self);
        delete static_cast<Exchange*>(*exchange);
        *exchange = nullptr;
        std::lock_guard const lock(server.m_mutex);
        Connection& its = connectionOf(connection);
        its.since = Clock::now();
        server.m_inHead.insert(&its);
    }

    static MHD_Result addHost(void* hosts, MHD_ValueKind /*kind*/, char const* key, char const* value)
    {
        if (qstricmp(key, "Host") == 0)
            *static_cast<QList<QByteArray>*>(hosts) << value;
        return MHD_YES;
    }

    static Exchange* begin(HttpServer& server, MHD_Connection* connection, char const* method)
    {
        auto* const exchange = new Exchange{&server, connection, {}, {}, {}};
        HttpRequest& request = exchange->request;
        request.method = method;
        auto const header = [connection](char const* name) {
            return QByteArray(MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name));
        };
        request.hasBody =
            header("Content-Length").toULongLong() > 0 || !header("Transfer-Encoding").isEmpty();
        MHD_get_connection_values(connection, MHD_HEADER_KIND, &addHost, &request.hosts);
        Connection& its = connectionOf(connection);
        if (!request.setTarget(its.target))
            exchange->answer =
                HttpAnswer::refusal(MHD_HTTP_BAD_REQUEST, QStringLiteral("The address is not valid"));
        std::lock_guard const lock(server.m_mutex);
        server.m_inHead.erase(&its);
        return exchange;
    }

    static MHD_Result handle(void* self, MHD_Connection* connection, char const* /*url*/, char const* method,
                             char const* /*version*/, char const* /*upload*/, std::size_t* /*uploadSize*/,
                             void** context)
    {
        auto& server = *static_cast<HttpServer*>(self);
        auto*& exchange = *reinterpret_cast<Exchange**>(context);
        if (exchange == nullptr) {
            exchange = begin(server, connection, method);
            if (!exchange->request.hasBody)
                return MHD_YES; // with an answer at the first call the connection would be closed
        }
        if (!exchange->answer)
            exchange->answer = server.m_site.answerAtOnce(exchange->request);
        if (!exchange->answer && server.putAside(*exchange))
            return MHD_YES;
        return send(*exchange);
    }

    static MHD_Response* makeResponse(Exchange& exchange)
    {
        HttpAnswer& answer = *exchange.answer;
        if (answer.isEvents || answer.more) {
            exchange.part = answer.isEvents ? QByteArray("retry: 1000\n\n") : answer.body;
            std::lock_guard const lock(exchange.server->m_mutex);
            exchange.seenChanges = exchange.server->m_changes;
            exchange.seenLives = exchange.server->m_lives;
            return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kPartSize, &readPart, &exchange,
                                                     nullptr);
        }
        if (answer.file >= 0 && answer.size > 0)
            return MHD_create_response_from_fd_at_offset64(answer.size, answer.file, answer.offset);
        if (answer.file >= 0)
            static_cast<void>(::close(answer.file));
        return MHD_create_response_from_buffer(static_cast<std::size_t>(answer.body.size()),
                                               answer.body.data(),
                                               MHD_RESPMEM_PERSISTENT); // as long as the exchange
    }

    static MHD_Result send(Exchange& exchange)
    {
        HttpAnswer const& answer = *exchange.answer;
        MHD_Response* const response = makeResponse(exchange);
        if (response == nullptr)
            return MHD_NO;
        MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.type.constData());
        for (auto const& [name, value] : kHeaders)
            MHD_add_response_header(response, name, value);
        if (!answer.allow.isEmpty())
            MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, answer.allow.constData());
        auto const result =
            MHD_queue_response(exchange.connection, static_cast<unsigned>(answer.status), response);
        MHD_destroy_response(response);
        return result;
    }

    /** Zero when the connection is put aside until there is more. */
    static ssize_t readPart(void* context, std::uint64_t /*position*/, char* buffer, std::size_t room)
    {
        auto& exchange = *static_cast<Exchange*>(context);
        if (exchange.sent == exchange.part.size()) {
            exchange.part.clear();
            exchange.sent = 0;
            if (exchange.isBroken)
                return MHD_CONTENT_READER_END_WITH_ERROR;
            if (exchange.isWhole)
                return MHD_CONTENT_READER_END_OF_STREAM;
            if (exchange.server->putAside(exchange))
                return 0;
            if (exchange.part.isEmpty())
                return MHD_CONTENT_READER_END_OF_STREAM;
        }
        auto const size = std::min(static_cast<std::size_t>(exchange.part.size() - exchange.sent), room);
        std::memcpy(buffer, exchange.part.constData() + exchange.sent, size);
        exchange.sent += static_cast<int>(size);
        return static_cast<ssize_t>(size);
    }
};

HttpServer::HttpServer(int socket, HttpSite& site)
    : m_site(site)
{
    auto* const daemon = MHD_start_daemon(
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &Daemon::handle, this,
        MHD_OPTION_EXTERNAL_LOGGER, &dropMessage, nullptr, MHD_OPTION_LISTEN_SOCKET, socket,
        MHD_OPTION_CONNECTION_LIMIT, kConnections, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kHeadSize,
        MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1,
        MHD_OPTION_URI_LOG_CALLBACK, &Daemon::noteTarget, this, MHD_OPTION_NOTIFY_CONNECTION, &Daemon::notify,
        this, MHD_OPTION_NOTIFY_COMPLETED, &Daemon::complete, this, MHD_OPTION_END);
    if (daemon != nullptr)
        m_daemon = std::make_unique<Daemon>(Daemon{daemon});
    else
        static_cast<void>(::close(socket));
}

HttpServer::~HttpServer()
{
    if (!m_daemon)
        return;
    end();
    std::unique_lock lock(m_mutex);
    for (auto const& lane : m_waiting)
        m_followers.insert(lane.begin(), lane.end());
    for (Exchange* const exchange : m_followers) {
        refuse(*exchange);
        (exchange->answer->isEvents ? exchange->isWhole : exchange->isBroken) = true;
        MHD_resume_connection(exchange->connection);
    }
    lock.unlock();
    MHD_stop_daemon(m_daemon->daemon);
}

/** Answers what has no answer yet. */
void HttpServer::refuse(Exchange& exchange)
{
    if (!exchange.answer)
        exchange.answer =
            HttpAnswer::refusal(MHD_HTTP_SERVICE_UNAVAILABLE, QStringLiteral("vrelview is ending"));
}

/** False when there is something for it already: an event, an answer, or the server's end. */
bool HttpServer::putAside(Exchange& exchange)
{
    std::lock_guard const lock(m_mutex);
    bool const isFollower = exchange.answer && exchange.answer->isEvents;
    if (m_isEnding) {
        refuse(exchange);
        return false;
    }
    if (isFollower && hasNews(exchange))
        return false;
    MHD_suspend_connection(exchange.connection);
    if (isFollower) {
        m_followers.insert(&exchange);
    } else {
        m_waiting[static_cast<int>(m_site.laneOf(exchange.request))].push_back(&exchange);
        m_isWanted.notify_all();
    }
    return true;
}

/** Sets them as its next part. */
bool HttpServer::hasNews(Exchange& exchange) const
{
    if (exchange.seenChanges != m_changes)
        exchange.part = "event: change\ndata: " + m_change + "\n\n";
    else if (exchange.seenLives != m_lives)
        exchange.part = "event: alive\ndata: 0\n\n";
    exchange.seenChanges = m_changes;
    exchange.seenLives = m_lives;
    return !exchange.part.isEmpty();
}

void HttpServer::serve(HttpSite::Lane lane)
{
    auto& waiting = m_waiting[static_cast<int>(lane)];
    std::unique_lock lock(m_mutex);
    while (!m_isEnding) {
        if (waiting.empty()) {
            m_isWanted.wait(lock);
            continue;
        }
        Exchange& exchange = *waiting.front();
        waiting.pop_front();
        lock.unlock();
        make(exchange);
        lock.lock();
        MHD_resume_connection(exchange.connection);
    }
}

/** Who asked may have gone meanwhile, which nobody hears of before its connection is back in its place. */
void HttpServer::make(Exchange& exchange) const
{
    if (!exchange.answer) {
        exchange.answer = m_site.answer(exchange.request);
        return;
    }
    try {
        exchange.part = exchange.answer->more();
        exchange.isWhole = exchange.part.isEmpty();
    } catch (std::exception const&) {
        exchange.isBroken = true;
    }
}

void HttpServer::end()
{
    std::lock_guard const lock(m_mutex);
    m_isEnding = true;
    m_isWanted.notify_all();
}

void HttpServer::announceChange(QByteArray const& data)
{
    std::lock_guard const lock(m_mutex);
    m_change = data;
    ++m_changes;
    resumeFollowers();
}

void HttpServer::announceLife()
{
    std::lock_guard const lock(m_mutex);
    ++m_lives;
    resumeFollowers();
}

void HttpServer::resumeFollowers()
{
    for (Exchange* const follower : m_followers)
        MHD_resume_connection(follower->connection);
    m_followers.clear();
}

void HttpServer::dropSlow()
{
    std::lock_guard const lock(m_mutex); // a connection is forgotten before its socket is closed
    auto const latest = Clock::now() - kHeadTime;
    for (Connection const* const connection : m_inHead) {
        if (connection->since < latest)
            static_cast<void>(::shutdown(connection->socket, SHUT_RDWR));
    }
}
