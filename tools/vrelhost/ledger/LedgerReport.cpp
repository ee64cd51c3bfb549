#include "tools/vrelhost/ledger/LedgerReport.h"

#include "tools/vrelhost/ledger/LedgerColumns.h"

#include <QDateTime>

namespace {

using LedgerColumns::array;
using LedgerColumns::cells;
using LedgerColumns::Column;
using LedgerColumns::csvTable;
using LedgerColumns::head;
using LedgerColumns::Kind;
using LedgerColumns::object;
using LedgerColumns::rowSchema;
using LedgerColumns::table;

constexpr Column<LedgerStep> kSteps[] = {
    {"command", &LedgerStep::command, Kind::Name},
    {"result", &LedgerStep::result, Kind::Name},
    {"duration", &LedgerStep::duration, Kind::Duration},
    {"error", &LedgerStep::error},
};

constexpr Column<LedgerInput> kInputs[] = {
    {"name", &LedgerInput::name, Kind::Name},
    {"size", &LedgerInput::size},
    {"sha256", &LedgerInput::sha256, Kind::Name},
};

QString inputsOf(LedgerService const& service)
{
    QStringList texts;
    for (LedgerInput const& input : service.inputs)
        texts << input.name + QLatin1Char('=') + input.sha256;
    return texts.join(QLatin1Char(' '));
}

constexpr Column<LedgerService> kServices[] = {
    {"service", &LedgerService::service, Kind::Name},
    {"serial", &LedgerService::serial, Kind::Name},
    {"path", &LedgerService::path},
    {"job", &LedgerService::job, Kind::Name},
    {"station", &LedgerService::station, Kind::Name},
    {"route", &LedgerService::route, Kind::Name},
    {"began", &LedgerService::began, Kind::Time},
    {"ended", &LedgerService::ended, Kind::Time},
    {"duration", &LedgerService::duration, Kind::Duration},
    {"result", &LedgerService::result, Kind::Name},
    {"error", &LedgerService::error},
    {"log", &LedgerService::log},
    {"steps", &LedgerService::step, Kind::Plain,
     [](LedgerService const& service) { return array(service.steps, kSteps); },
     [] { return rowSchema(kSteps); }},
    {"inputs", inputsOf, Kind::Plain,
     [](LedgerService const& service) { return array(service.inputs, kInputs); },
     [] { return rowSchema(kInputs); }},
    {"tool", &LedgerService::tool, Kind::Name},
    {"library", &LedgerService::library, Kind::Name},
};

/** For people, beside tables of steps and inputs. */
constexpr Column<LedgerService> kServiceParts[] = {
    {"service", &LedgerService::service},
    {"job", &LedgerService::job},
    {"result", &LedgerService::result},
    {"error", &LedgerService::error},
    {"step", &LedgerService::step},
    {"began", &LedgerService::began, Kind::Time},
    {"ended", &LedgerService::ended, Kind::Time},
    {"duration", &LedgerService::duration, Kind::Duration},
    {"station", &LedgerService::station},
    {"path", &LedgerService::path},
    {"route", &LedgerService::route},
    {"log", &LedgerService::log},
    {"tool", &LedgerService::tool},
    {"library", &LedgerService::library},
};

/** For people, on one line. */
constexpr Column<LedgerService> kServicesInBrief[] = {
    {"began", &LedgerService::began, Kind::Time},
    {"serial", &LedgerService::serial},
    {"path", &LedgerService::path},
    {"job", &LedgerService::job},
    {"station", &LedgerService::station},
    {"result", &LedgerService::result},
    {"duration", &LedgerService::duration, Kind::Duration},
    {"step", &LedgerService::step},
    {"error", &LedgerService::error},
};

constexpr Column<LedgerBoard> kBoards[] = {
    {"serial", &LedgerBoard::serial, Kind::Name},
    {"job", &LedgerBoard::job, Kind::Name},
    {"station", &LedgerBoard::station, Kind::Name},
    {"path", &LedgerBoard::path},
    {"result", &LedgerBoard::result, Kind::Name},
    {"attempts", &LedgerBoard::attempts},
    {"first", &LedgerBoard::first, Kind::Time},
    {"last", &LedgerBoard::last, Kind::Time},
    {"step", &LedgerBoard::step},
    {"error", &LedgerBoard::error},
};

constexpr Column<LedgerSummary::Step> kStepSums[] = {
    {"number", &LedgerSummary::Step::number},
    {"command", &LedgerSummary::Step::command, Kind::Name},
    {"runs", &LedgerSummary::Step::runs},
    {"failures", &LedgerSummary::Step::failures},
    {"median", &LedgerSummary::Step::median, Kind::Duration},
    {"longest", &LedgerSummary::Step::longest, Kind::Duration},
};

constexpr Column<LedgerSummary::Error> kErrors[] = {
    {"text", &LedgerSummary::Error::text},
    {"step", &LedgerSummary::Error::step},
    {"command", &LedgerSummary::Error::command},
    {"boards", &LedgerSummary::Error::boards},
};

constexpr Column<LedgerSummary> kJobs[] = {
    {"job", &LedgerSummary::job, Kind::Name},
    {"boards", &LedgerSummary::boards},
    {"success", &LedgerSummary::success},
    {"failure", &LedgerSummary::failure},
    {"interrupted", &LedgerSummary::interrupted},
    {"underWay", &LedgerSummary::underWay},
    {"firstPass", &LedgerSummary::firstPass},
    {"firstPassYield", &LedgerSummary::firstPassYield, Kind::Share},
    {"yield", &LedgerSummary::yield, Kind::Share},
    {"began", &LedgerSummary::began, Kind::Time},
    {"ended", &LedgerSummary::ended, Kind::Time},
    {"perHour", &LedgerSummary::perHour},
    {"steps",
     {},
     Kind::Plain,
     [](LedgerSummary const& job) { return array(job.steps, kStepSums); },
     [] { return rowSchema(kStepSums); }},
    {"errors",
     {},
     Kind::Plain,
     [](LedgerSummary const& job) { return array(job.errors, kErrors); },
     [] { return rowSchema(kErrors); }},
};

/** Rows of the jobs' parts, each with its job before it. */
template <typename Row, std::size_t N>
QByteArray tableOfParts(std::vector<LedgerSummary> const& jobs, std::vector<Row> LedgerSummary::*parts,
                        Column<Row> const (&columns)[N])
{
    QList<QStringList> texts{QStringList(QStringLiteral("JOB")) + head(columns)};
    for (LedgerSummary const& job : jobs) {
        for (Row const& row : job.*parts)
            texts << QStringList(job.job) + cells(row, columns);
    }
    return texts.size() > 1 ? '\n' + ReportText::table(texts) : QByteArray();
}

/** A line for each column. */
template <typename Row, std::size_t N>
QByteArray list(Row const& row, Column<Row> const (&columns)[N])
{
    QStringList const names = head(columns);
    QStringList const texts = cells(row, columns);
    QList<QStringList> lines;
    for (int i = 0; i < names.size(); ++i)
        lines << QStringList{names.at(i), texts.at(i)};
    return ReportText::table(lines);
}

} // namespace

QByteArray LedgerReport::toJson(std::vector<LedgerBoard> const& boards)
{
    return array(boards, kBoards) + '\n';
}

QByteArray LedgerReport::toJson(std::vector<LedgerService> const& services)
{
    return array(services, kServices) + '\n';
}

QByteArray LedgerReport::toJson(std::vector<LedgerSummary> const& jobs)
{
    return array(jobs, kJobs) + '\n';
}

QByteArray LedgerReport::toJson(QString const& serial, std::vector<LedgerService> const& services)
{
    return R"({"serial":)" + ReportText::json(serial) + R"(,"services":)" + array(services, kServices) +
           "}\n";
}

QByteArray LedgerReport::toPlaceJson(LedgerService const& service, QByteArray const& moreMembers)
{
    return object(service, kServices).chopped(1) + R"(,"step":)" + ReportText::json(service.step()) +
           moreMembers + '}';
}

QByteArray LedgerReport::toCsv(std::vector<LedgerBoard> const& boards)
{
    return csvTable(boards, kBoards);
}

QByteArray LedgerReport::toCsv(std::vector<LedgerService> const& services)
{
    return csvTable(services, kServices);
}

QByteArray LedgerReport::toTable(std::vector<LedgerBoard> const& boards)
{
    return table(boards, kBoards);
}

QByteArray LedgerReport::toTable(std::vector<LedgerService> const& services)
{
    return table(services, kServicesInBrief);
}

QByteArray LedgerReport::toTable(std::vector<LedgerSummary> const& jobs)
{
    return table(jobs, kJobs) + tableOfParts(jobs, &LedgerSummary::steps, kStepSums) +
           tableOfParts(jobs, &LedgerSummary::errors, kErrors);
}

QByteArray LedgerReport::toText(std::vector<LedgerService> const& services)
{
    QByteArray text;
    for (LedgerService const& service : services) {
        text += text.isEmpty() ? "" : "\n";
        text += list(service, kServiceParts) + table(service.steps, kSteps);
        text += service.inputs.empty() ? QByteArray() : table(service.inputs, kInputs);
    }
    return text;
}

QByteArray LedgerReport::schema()
{
    return R"({"anyOf":[{"type":"array","items":{"$ref":"#/$defs/board"}},)"
           R"({"type":"array","items":{"$ref":"#/$defs/service"}},)"
           R"({"type":"array","items":{"$ref":"#/$defs/job"}},)"
           R"({"type":"object","required":["serial","services"],"properties":{"serial":{"type":"string"},)"
           R"("services":{"type":"array","items":{"$ref":"#/$defs/service"}}}}],"$defs":{"board":)" +
           rowSchema(kBoards) + R"(,"service":)" + rowSchema(kServices) + R"(,"job":)" + rowSchema(kJobs) +
           "}}";
}
