#include "tools/vrelhost/ledger/LedgerReader.h"

#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelhost/ledger/LedgerProcesses.h"
#include "tools/vrelhost/ledger/LedgerSelection.h"

#include <QHash>

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

namespace {

QString text(QSqlQuery const& row, int column)
{
    return row.value(column).toString();
}

/** Within 30,000 years, so that sums of what a foreign ledger tells have room. */
qint64 number(QSqlQuery const& row, int column)
{
    constexpr qint64 kMost = 1000000000000000;
    return std::clamp(row.value(column).toLongLong(), -kMost, kMost);
}

std::optional<qint64> numberIfAny(QSqlQuery const& row, int column)
{
    return row.value(column).isNull() ? std::nullopt : std::make_optional(number(row, column));
}

LedgerService serviceIn(QSqlQuery const& row)
{
    LedgerService service;
    int column = 0;
    for (QString LedgerService::*const field :
         {&LedgerService::service, &LedgerService::serial, &LedgerService::path, &LedgerService::job,
          &LedgerService::station, &LedgerService::route, &LedgerService::result, &LedgerService::error,
          &LedgerService::log, &LedgerService::tool, &LedgerService::library})
        service.*field = text(row, column++);
    service.began = number(row, column++);
    service.ended = numberIfAny(row, column++);
    service.duration = numberIfAny(row, column++);
    service.isRecipe = number(row, column++) != 0;
    return service;
}

/**
 * Those in the table "wanted", by their begin, with steps and inputs; sorted here, where there is less to
 * sort.
 */
std::vector<LedgerService> wantedServices(LedgerDatabase const& database, LedgerSelection const& selection)
{
    std::vector<LedgerService> services;
    selection.read(
        database,
        QStringLiteral("SELECT service, serial, path, job, station, route, state, error, log, tool, "
                       "library, began, ended, duration, recipe FROM wanted"),
        [&](QSqlQuery const& row) { services.push_back(serviceIn(row)); });
    std::sort(services.begin(), services.end(), [](LedgerService const& a, LedgerService const& b) {
        return std::tie(a.began, a.service) < std::tie(b.began, b.service);
    });
    QHash<QString, LedgerService*> byName;
    for (LedgerService& service : services)
        byName.insert(service.service, &service);
    auto const readParts = [&](char const* table, char const* columns, auto const& add) {
        selection.read(
            database,
            QStringLiteral("SELECT %1.service, %2 FROM wanted JOIN %1 ON %1.service = wanted.service")
                .arg(QLatin1String(table), QLatin1String(columns)),
            [&](QSqlQuery const& row) {
                if (LedgerService* const service = byName.value(text(row, 0)))
                    add(*service, row);
            });
    };
    readParts("steps", "number, command, steps.result, steps.duration, steps.error",
              [](LedgerService& service, QSqlQuery const& row) {
                  service.steps.push_back({static_cast<int>(number(row, 1)), text(row, 2), text(row, 3),
                                           number(row, 4), text(row, 5)});
              });
    readParts("inputs", "name, size, sha256", [](LedgerService& service, QSqlQuery const& row) {
        service.inputs.push_back({text(row, 1), number(row, 2), text(row, 3)});
    });
    for (LedgerService& service : services) {
        std::sort(service.steps.begin(), service.steps.end(),
                  [](LedgerStep const& a, LedgerStep const& b) { return a.number < b.number; });
        std::sort(service.inputs.begin(), service.inputs.end(),
                  [](LedgerInput const& a, LedgerInput const& b) { return a.name < b.name; });
    }
    return services;
}

LedgerBoard boardIn(QSqlQuery const& row)
{
    LedgerBoard board;
    int column = 0;
    for (QString LedgerBoard::*const field : {&LedgerBoard::serial, &LedgerBoard::job, &LedgerBoard::station,
                                              &LedgerBoard::path, &LedgerBoard::result, &LedgerBoard::error})
        board.*field = text(row, column++);
    board.attempts = number(row, column++);
    board.first = number(row, column++);
    board.last = numberIfAny(row, column++);
    bool const isRecipe = number(row, column++) != 0;
    qint64 const all = number(row, column++);
    auto const stop = numberIfAny(row, column++);
    bool const isReached = stop && (!board.last || text(row, column) == QLatin1String("failure"));
    if (isRecipe)
        board.step = stepText(stop ? *stop - 1 : all, all, isReached ? text(row, column + 1) : QString());
    return board;
}

/** The runs of one step in a job, and how many there were of each duration, which grows. */
struct StepRuns
{
    LedgerSummary::Step step;
    std::vector<std::pair<qint64, qint64>> durations;

    /** The run that is in this place, from 0, when they are sorted. */
    qint64 durationAt(qint64 place) const
    {
        auto at = durations.begin();
        for (; place >= at->second; ++at)
            place -= at->second;
        return at->first;
    }

    LedgerSummary::Step finished() const
    {
        LedgerSummary::Step result = step;
        result.longest = durations.back().first;
        result.median = static_cast<double>(durationAt((step.runs - 1) / 2) + durationAt(step.runs / 2)) / 2;
        return result;
    }
};

using Jobs = std::map<QString, LedgerSummary>;

void addBoards(Jobs& jobs, LedgerDatabase const& database, LedgerSelection const& selection)
{
    auto const count = [](char const* condition) {
        return QStringLiteral(", SUM(CASE WHEN %1 THEN 1 ELSE 0 END)").arg(QLatin1String(condition));
    };
    selection.read(
        database,
        QStringLiteral("SELECT job, COUNT(*)") + count("state = 'success'") + count("state = 'failure'") +
            count("state = 'interrupted'") + count("state = 'under way'") + count("start = 'success'") +
            count("start = 'success' AND state <> 'under way'") +
            QStringLiteral(" FROM (SELECT boards.*, (SELECT result FROM services AS early WHERE "
                           "early.serial = boards.serial AND early.job = boards.job ORDER BY early.began, "
                           "early.service LIMIT 1) AS start FROM boards) AS started GROUP BY job"),
        [&jobs](QSqlQuery const& row) {
            LedgerSummary& job = jobs[text(row, 0)];
            int column = 1;
            for (qint64 LedgerSummary::*const field :
                 {&LedgerSummary::boards, &LedgerSummary::success, &LedgerSummary::failure,
                  &LedgerSummary::interrupted, &LedgerSummary::underWay, &LedgerSummary::firstPass,
                  &LedgerSummary::firstPassAtRest})
                job.*field = number(row, column++);
        });
    selection.read(database, QStringLiteral("SELECT job, MIN(began), MAX(ended) FROM worked GROUP BY job"),
                   [&jobs](QSqlQuery const& row) {
                       LedgerSummary& job = jobs[text(row, 0)];
                       job.began = number(row, 1);
                       job.ended = numberIfAny(row, 2);
                   });
}

/** Durations are counted by the database, which is quicker than to fetch all of them; numbers first, which
 * are quicker to compare. */
void addSteps(Jobs& jobs, LedgerDatabase const& database, LedgerSelection const& selection)
{
    std::map<std::tuple<QString, int, QString>, StepRuns> steps;
    selection.read(
        database,
        QStringLiteral("SELECT job, number, command, steps.duration, COUNT(*), "
                       "SUM(CASE WHEN steps.result = 'failure' THEN 1 ELSE 0 END) FROM worked "
                       "JOIN steps ON steps.service = worked.service WHERE steps.result <> 'not run' "
                       "GROUP BY steps.duration, number, job, command ORDER BY steps.duration"),
        [&steps](QSqlQuery const& row) {
            auto const place = static_cast<int>(number(row, 1));
            auto& [step, durations] = steps[{text(row, 0), place, text(row, 2)}];
            step.number = place;
            step.command = text(row, 2);
            step.runs += number(row, 4);
            step.failures += number(row, 5);
            durations.emplace_back(number(row, 3), number(row, 4));
        });
    for (auto const& [key, runs] : steps)
        jobs[std::get<0>(key)].steps.push_back(runs.finished());
}

void addErrors(Jobs& jobs, LedgerDatabase const& database, LedgerSelection const& selection)
{
    selection.read(database,
                   QStringLiteral("SELECT job, boards.error, number, command, COUNT(*) FROM boards "
                                  "LEFT JOIN steps ON steps.service = boards.service "
                                  "AND steps.result = 'failure' WHERE state = 'failure' "
                                  "GROUP BY job, boards.error, number, command "
                                  "ORDER BY COUNT(*) DESC, number, boards.error"),
                   [&jobs](QSqlQuery const& row) {
                       jobs[text(row, 0)].errors.push_back(
                           {text(row, 1), numberIfAny(row, 2), text(row, 3), number(row, 4)});
                   });
}

} // namespace

LedgerReader::LedgerReader(QString file)
    : m_file(std::move(file))
{
}

void LedgerReader::read(Query const& query) const
{
    LedgerDatabase::readWhole(m_file, [&](LedgerDatabase::Access access, auto const& requireWhole) {
        LedgerDatabase const database(m_file, access);
        // First, since who is dead writes no more, while who is alive may come to an end.
        QList<qint64> const dead = LedgerProcesses(m_file).deadUnderWay(database);
        database.transaction([&] { query(database, dead); });
        requireWhole();
    });
}

std::vector<LedgerBoard> LedgerReader::boards(LedgerFilter const& filter) const
{
    std::vector<LedgerBoard> boards;
    read([&](LedgerDatabase const& database, QList<qint64> const& dead) {
        boards.clear();
        LedgerSelection selection(filter, dead);
        selection.addBoards();
        selection.read(
            database,
            QStringLiteral(
                "SELECT serial, job, station, path, state, boards.error, "
                "(SELECT COUNT(*) FROM chosen AS own WHERE own.serial = boards.serial AND own.job = "
                "boards.job), "
                "(SELECT MIN(began) FROM chosen AS own WHERE own.serial = boards.serial AND own.job = "
                "boards.job), "
                "ended, recipe, (SELECT COUNT(*) FROM steps WHERE steps.service = boards.service), "
                "stop.number, stop.result, stop.command FROM boards LEFT JOIN steps AS stop "
                "ON stop.service = boards.service AND stop.number = (SELECT MIN(number) FROM steps "
                "WHERE steps.service = boards.service AND steps.result <> 'success') "
                "ORDER BY serial, job") +
                LedgerSelection::limitOf(filter),
            [&](QSqlQuery const& row) { boards.push_back(boardIn(row)); });
    });
    return boards;
}

std::vector<LedgerService> LedgerReader::services(LedgerFilter const& filter) const
{
    std::vector<LedgerService> services;
    read([&](LedgerDatabase const& database, QList<qint64> const& dead) {
        LedgerSelection selection(filter, dead);
        selection.addWithResult(QStringLiteral("matching"), QStringLiteral("chosen WHERE 1 = 1"));
        selection.add(QStringLiteral("wanted AS (SELECT * FROM matching ORDER BY began, service%1)")
                          .arg(LedgerSelection::limitOf(filter)));
        services = wantedServices(database, selection);
    });
    return services;
}

/** From place to place along the index, since a ledger has few of them and many services. */
std::vector<LedgerService> LedgerReader::places(LedgerFilter const& filter) const
{
    std::vector<LedgerService> services;
    read([&](LedgerDatabase const& database, QList<qint64> const& dead) {
        LedgerSelection selection(filter, dead);
        selection.add(
            QStringLiteral("place(station, path) AS (SELECT * FROM (SELECT station, path FROM services WHERE "
                           "path IS NOT NULL "
                           "ORDER BY station, path LIMIT 1) UNION ALL SELECT next.station, next.path FROM "
                           "place JOIN services AS next "
                           "ON next.service = COALESCE((SELECT service FROM services WHERE station = "
                           "place.station AND path > place.path ORDER BY path LIMIT 1), (SELECT service FROM "
                           "services WHERE station > place.station AND path IS NOT NULL ORDER BY station, "
                           "path LIMIT 1)))"));
        selection.add(
            QStringLiteral("last AS (SELECT chosen.* FROM place JOIN chosen ON chosen.service = "
                           "(SELECT service FROM chosen AS own WHERE own.station = place.station AND "
                           "own.path = place.path ORDER BY own.began DESC, own.service DESC LIMIT 1))"));
        selection.addWithResult(QStringLiteral("matching"), QStringLiteral("last WHERE 1 = 1"));
        selection.add(QStringLiteral("wanted AS (SELECT * FROM matching ORDER BY station, path%1)")
                          .arg(LedgerSelection::limitOf(filter)));
        services = wantedServices(database, selection);
    });
    std::sort(services.begin(), services.end(), [](LedgerService const& a, LedgerService const& b) {
        return std::tie(a.station, a.path) < std::tie(b.station, b.path);
    });
    return services;
}

std::vector<LedgerSummary> LedgerReader::summary(LedgerFilter const& filter) const
{
    Jobs jobs;
    read([&](LedgerDatabase const& database, QList<qint64> const& dead) {
        LedgerSelection selection(filter, dead);
        selection.addBoards();
        selection.add(filter.result
                          ? QStringLiteral("worked AS (SELECT chosen.* FROM chosen JOIN boards ON "
                                           "boards.serial = chosen.serial AND boards.job = chosen.job)")
                          : QStringLiteral("worked AS (SELECT * FROM chosen)"));
        jobs.clear();
        addBoards(jobs, database, selection);
        addSteps(jobs, database, selection);
        addErrors(jobs, database, selection);
    });
    std::vector<LedgerSummary> summaries;
    for (auto& [name, job] : jobs) {
        job.job = name;
        summaries.push_back(std::move(job));
    }
    std::stable_sort(summaries.begin(), summaries.end(),
                     [](LedgerSummary const& a, LedgerSummary const& b) { return a.began < b.began; });
    return summaries;
}
