#include "tools/vrelview/Site.h"

#include "tools/vrelhost/ledger/LedgerError.h"
#include "tools/vrelhost/ledger/LedgerReport.h"
#include "tools/vrelview/LineQueries.h"
#include "tools/vrelview/LogFiles.h"
#include "tools/vrelview/Metrics.h"

#include <QDateTime>
#include <QFile>

#include <algorithm>
#include <memory>
#include <utility>

namespace {

enum Status : int
{
    BadRequest = 400,
    Forbidden = 403,
    NotFound = 404,
    NotAllowed = 405,
    Unavailable = 503
};

constexpr char const* kJson = "application/json";

/** The files of the page by their addresses, with their types. */
constexpr char const* kFiles[][3] = {
    {"/", "index.html", "text/html; charset=utf-8"},
    {"/board/", "board.html", "text/html; charset=utf-8"}, // for all boards
    {"/style.css", "style.css", "text/css; charset=utf-8"},
    {"/common.js", "common.js", "text/javascript; charset=utf-8"},
    {"/line.js", "line.js", "text/javascript; charset=utf-8"},
    {"/board.js", "board.js", "text/javascript; charset=utf-8"},
    {"/icon.svg", "icon.svg", "image/svg+xml"},
};
constexpr qint64 kBoardsPart = 10000; // rows that are in memory at a time
constexpr qint64 kServicesPart = 1000;
constexpr char const* kPlaces = "/api/v1/places";
constexpr char const* kBoard = "/board/";
constexpr char const* kLog = "/log/";

HttpAnswer answerOf(QByteArray const& body, char const* type)
{
    HttpAnswer answer;
    answer.type = type;
    answer.body = body;
    return answer;
}

/** Digits alone, below 10^18. */
std::optional<qint64> numberIn(QString const& text)
{
    constexpr int kMostDigits = 18;
    bool const isNumber =
        !text.isEmpty() && text.size() <= kMostDigits &&
        std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    return isNumber ? std::make_optional(text.toLongLong()) : std::nullopt;
}

/** Sets what one part of a query asks for. @return what is wrong with it; empty when nothing is */
QString set(LedgerFilter& filter, QString const& key, QString const& value)
{
    std::pair<char const*, std::optional<QString>*> const texts[] = {{"job", &filter.job},
                                                                     {"serial", &filter.serial},
                                                                     {"station", &filter.station},
                                                                     {"result", &filter.result}};
    std::pair<char const*, qint64*> const times[] = {{"since", &filter.since}, {"until", &filter.until}};
    std::pair<char const*, qint64*> const numbers[] = {{"limit", &filter.limit}, {"offset", &filter.offset}};
    QString fault;
    for (auto const& [name, text] : texts) {
        if (key != QLatin1String(name))
            continue;
        *text = value;
        return text != &filter.result || LedgerFilter::isResult(value)
                   ? QString()
                   : QStringLiteral("result must be one of %1, not '%2'")
                         .arg(LedgerFilter::resultWords(), value);
    }
    for (auto const& [name, time] : times) {
        if (key != QLatin1String(name))
            continue;
        *time = LedgerFilter::readTime(value, QDateTime::currentMSecsSinceEpoch(), fault).value_or(0);
        return fault.isEmpty() ? QString() : key + QStringLiteral(": ") + fault;
    }
    for (auto const& [name, number] : numbers) {
        if (key != QLatin1String(name))
            continue;
        *number = numberIn(value).value_or(0);
        return numberIn(value) ? QString()
                               : QStringLiteral("%1 must be a whole number, not '%2'").arg(key, value);
    }
    return QStringLiteral("There is no filter '%1'").arg(key);
}

/** What depends on the time of the request is made anew for each. */
bool isAge(HttpRequest const& request, QString const& key)
{
    auto const found = request.query.find(key);
    return found != request.query.end() && !found->second.contains(QLatin1Char('-'));
}

/** Some rows of an answer, as JSON or CSV. */
struct Rows
{
    qint64 count;
    QByteArray text;
};

/** How rows stand in an answer. */
struct RowsForm
{
    char const* type;
    char const* headEnd; ///< the first of these in a text is the end of its head
    char const* separator;
    char const* end;

    /** Rows without head and end. */
    QByteArray middle(QByteArray const& text) const
    {
        QByteArray const mark(headEnd);
        return text.mid(text.indexOf(mark) + mark.size()).chopped(static_cast<int>(qstrlen(end)));
    }
};

constexpr RowsForm kJsonRows = {kJson, "[", ",", "]\n"};
constexpr RowsForm kCsvRows = {"text/csv; charset=utf-8; header=present", "\r\n", "", ""};

/**
 * Rows that are read and sent in parts, so that an answer takes the same little memory for any number of
 * them; rows that change meanwhile may be those of before or after.
 * @param read yields the Rows of a filter
 */
template <typename Read>
HttpAnswer inParts(RowsForm const& form, LedgerFilter const& filter, qint64 partSize, Read const& read)
{
    LedgerFilter part = filter;
    part.limit = std::min(filter.limit, partSize);
    Rows const first = read(part);
    HttpAnswer answer = answerOf(first.text, form.type);
    if (first.count < partSize)
        return answer;
    answer.body.chop(static_cast<int>(qstrlen(form.end)));
    answer.more = [form, part, partSize, read, left = filter.limit - partSize, isLast = false]() mutable {
        if (isLast)
            return QByteArray();
        part.offset += partSize;
        part.limit = std::min(left, partSize);
        left -= part.limit;
        Rows const rows = read(part);
        isLast = left == 0 || rows.count < partSize;
        QByteArray const text = rows.count == 0 ? QByteArray() : form.separator + form.middle(rows.text);
        return isLast ? text + form.end : text;
    };
    return answer;
}

} // namespace

/** What is read of the ledger there. */
struct Site::Address
{
    char const* path; ///< which others follow that end in a slash
    bool isSlow;
    bool isKept;
    HttpAnswer (Site::*filtered)(LedgerFilter const& filter) const;
    HttpAnswer (Site::*other)(HttpRequest const& request) const = nullptr;
};

Site::Site(QString const& ledger, QString const& title, ListenAddress address)
    : m_address(std::move(address))
    , m_reader(ledger)
    , m_watch(ledger)
{
    for (auto const& [path, name, type] : kFiles) {
        QFile file(QStringLiteral(":/page/") + QLatin1String(name));
        QByteArray const text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        m_files[path] = answerOf(QByteArray(text).replace("@TITLE@", title.toHtmlEscaped().toUtf8()), type);
    }
}

Site::Address const* Site::addressOf(QByteArray const& path)
{
    static constexpr Address kAddresses[] = {
        {"/api/v1/boards", true, true, &Site::boards},
        {"/api/v1/services", true, true, &Site::services},
        {"/api/v1/summary", true, true, &Site::summary},
        {kPlaces, false, true, &Site::places},
        {"/api/v1/hours", true, true, &Site::hours},
        {"/api/v1/search", false, false, nullptr, &Site::search},
        {"/api/v1/events", false, false, nullptr, &Site::events},
        {"/boards.csv", true, true, &Site::csv},
        {"/metrics", true, true, nullptr, &Site::metrics},
        {"/healthz", false, false, nullptr, &Site::health},
        {kBoard, false, false, nullptr, &Site::board},
        {kLog, false, false, nullptr, &Site::log},
    };
    auto const* const found =
        std::find_if(std::begin(kAddresses), std::end(kAddresses), [&path](Address const& address) {
            QByteArray const own(address.path);
            return own == path || (own.endsWith('/') && path.startsWith(own));
        });
    return found == std::end(kAddresses) ? nullptr : found;
}

std::optional<HttpAnswer> Site::answerAtOnce(HttpRequest const& request) const
{
    if (request.hosts.size() != 1)
        return HttpAnswer::refusal(BadRequest, QStringLiteral("A request needs exactly one Host line"));
    if (!m_address.isOwnHost(request.hosts.constFirst()))
        return HttpAnswer::refusal(
            Forbidden,
            QStringLiteral("'%1' is not a name of this server, which serves this machine only: "
                           "use %2, or start it with --listen")
                .arg(QString::fromUtf8(request.hosts.constFirst()), QString::fromLatin1(m_address.url())));
    if (request.method != "GET" && request.method != "HEAD") {
        HttpAnswer answer =
            HttpAnswer::refusal(NotAllowed, QStringLiteral("This server answers only GET and HEAD"));
        answer.allow = "GET, HEAD";
        return answer;
    }
    if (request.hasBody)
        return HttpAnswer::refusal(BadRequest, QStringLiteral("Requests must not have a body"));
    auto const file = m_files.find(request.path);
    if (file != m_files.end() && request.path != kBoard)
        return file->second;
    return std::nullopt;
}

HttpSite::Lane Site::laneOf(HttpRequest const& request) const
{
    Address const* const address = addressOf(request.path);
    return address != nullptr && address->isSlow ? Lane::Slow : Lane::Quick;
}

HttpAnswer Site::answer(HttpRequest const& request)
{
    Address const* const address = addressOf(request.path);
    if (address == nullptr)
        return HttpAnswer::refusal(NotFound, QStringLiteral("There is nothing at this address"));
    if (auto const kept = m_kept.find(request.target))
        return *kept;
    auto const state = m_kept.state();
    auto const begin = KeptAnswers::Clock::now();
    HttpAnswer const answer = make(*address, request);
    bool const hasAge = isAge(request, QStringLiteral("since")) || isAge(request, QStringLiteral("until"));
    if (address->isKept && !hasAge && answer.status == HttpAnswer().status && !answer.more)
        m_kept.keep(request.target, answer, state, KeptAnswers::Clock::now() - begin);
    return answer;
}

HttpAnswer Site::make(Address const& address, HttpRequest const& request)
{
    try {
        if (address.other != nullptr)
            return (this->*address.other)(request);
        LedgerFilter filter;
        for (auto const& [key, value] : request.query) {
            QString const fault = set(filter, key, value);
            if (!fault.isEmpty())
                return HttpAnswer::refusal(BadRequest, fault);
        }
        return (this->*address.filtered)(filter);
    } catch (LedgerError const& error) {
        return HttpAnswer::refusal(Unavailable, error.text());
    }
}

QByteArray Site::news()
{
    auto const change = m_watch.look();
    if (change == LedgerWatch::Change::Ledger)
        m_kept.setOutdated();
    else if (change == LedgerWatch::Change::Lines)
        m_kept.setOutdated(kPlaces);
    if (change == LedgerWatch::Change::Ledger || m_kept.isRenewalDue())
        ++m_ledgerChanges;
    else if (change == LedgerWatch::Change::Lines)
        ++m_lineChanges;
    else
        return QByteArray();
    return R"({"ledger":)" + QByteArray::number(m_ledgerChanges) + R"(,"lines":)" +
           QByteArray::number(m_lineChanges) + '}';
}

HttpAnswer Site::boards(LedgerFilter const& filter) const
{
    return inParts(kJsonRows, filter, kBoardsPart, [this](LedgerFilter const& part) {
        auto const boards = m_reader.boards(part);
        return Rows{static_cast<qint64>(boards.size()), LedgerReport::toJson(boards)};
    });
}

HttpAnswer Site::csv(LedgerFilter const& filter) const
{
    return inParts(kCsvRows, filter, kBoardsPart, [this](LedgerFilter const& part) {
        auto const boards = m_reader.boards(part);
        return Rows{static_cast<qint64>(boards.size()), LedgerReport::toCsv(boards)};
    });
}

HttpAnswer Site::services(LedgerFilter const& filter) const
{
    return inParts(kJsonRows, filter, kServicesPart, [this](LedgerFilter const& part) {
        auto const services = m_reader.services(part);
        return Rows{static_cast<qint64>(services.size()), LedgerReport::toJson(services)};
    });
}

HttpAnswer Site::summary(LedgerFilter const& filter) const
{
    auto jobs = m_reader.summary(filter);
    auto const size = static_cast<qint64>(jobs.size());
    qint64 const begin = std::min(filter.offset, size);
    qint64 const end = begin + std::min(filter.limit, size - begin);
    return answerOf(
        LedgerReport::toJson(std::vector<LedgerSummary>(jobs.begin() + begin, jobs.begin() + end)), kJson);
}

HttpAnswer Site::places(LedgerFilter const& filter) const
{
    return answerOf(LineQueries::places(m_reader, filter), kJson);
}

HttpAnswer Site::hours(LedgerFilter const& filter) const
{
    return answerOf(LineQueries::hours(m_reader, filter), kJson);
}

HttpAnswer Site::search(HttpRequest const& request) const
{
    auto const text = request.query.find(QStringLiteral("text"));
    if (text == request.query.end() || text->second.isEmpty())
        return HttpAnswer::refusal(BadRequest, QStringLiteral("text must be a part of a serial number"));
    return answerOf(LineQueries::search(m_reader, text->second), kJson);
}

void Site::requireLedger() const
{
    m_reader.read([](auto const&... /*unused*/) {});
}

HttpAnswer Site::events(HttpRequest const& /*request*/) const
{
    requireLedger();
    HttpAnswer answer = answerOf({}, "text/event-stream");
    answer.isEvents = true;
    return answer;
}

HttpAnswer Site::metrics(HttpRequest const& /*request*/) const
{
    return answerOf(Metrics::text(m_reader), "text/plain; version=0.0.4; charset=utf-8");
}

HttpAnswer Site::health(HttpRequest const& /*request*/) const
{
    requireLedger();
    return answerOf("The ledger can be read.\n", "text/plain; charset=utf-8");
}

/** The page for it, which asks for the rest; of an unknown one it says so. */
HttpAnswer Site::board(HttpRequest const& request) const
{
    LedgerFilter filter;
    filter.serial = QString::fromUtf8(request.path.mid(static_cast<int>(qstrlen(kBoard))));
    filter.limit = 1;
    HttpAnswer answer = m_files.at(kBoard);
    try {
        answer.status = m_reader.services(filter).empty() ? NotFound : answer.status;
    } catch (LedgerError const&) {
        answer.status = Unavailable;
    }
    return answer;
}

HttpAnswer Site::log(HttpRequest const& request) const
{
    auto const tail = request.query.find(QStringLiteral("tail"));
    std::optional<qint64> const size = tail == request.query.end() ? std::nullopt : numberIn(tail->second);
    if (tail != request.query.end() && !size)
        return HttpAnswer::refusal(
            BadRequest, QStringLiteral("tail must be a number of bytes, not '%1'").arg(tail->second));
    QString const service = QString::fromUtf8(request.path.mid(static_cast<int>(qstrlen(kLog))));
    QString const name = LineQueries::logOf(m_reader, service);
    return name.isNull() ? HttpAnswer::refusal(
                               NotFound, QStringLiteral("The ledger names no log file of such a service"))
                         : LogFiles::answer(name, size);
}
