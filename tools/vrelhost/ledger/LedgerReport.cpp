#include "tools/vrelhost/ledger/LedgerReport.h"

#include "tools/vrelhost/log/ReportText.h"

#include <QDateTime>
#include <QRegularExpression>

#include <functional>
#include <type_traits>
#include <variant>

namespace {

enum class Kind
{
    Plain,
    Name,     ///< a text that is never missing
    Time,     ///< milliseconds since 1970
    Duration, ///< milliseconds
    Share     ///< 0 to 1
};

/** A column of rows, which is a key in JSON. */
template <typename Row>
struct Column
{
    char const* name;
    std::variant<std::monostate, QString Row::*, int Row::*, qint64 Row::*, std::optional<qint64> Row::*,
                 double Row::*, QString (Row::*)() const, std::optional<double> (Row::*)() const,
                 QString (*)(Row const& row)>
        value; ///< nothing where only JSON has it
    Kind kind = Kind::Plain;
    QByteArray (*json)(Row const& row) = nullptr; ///< of what is no single value; otherwise null
    QByteArray (*itemSchema)() = nullptr;         ///< of its elements
};

/** What is in a row there: a text, or a number if there is one. */
using Cell = std::variant<QString, std::optional<qint64>, std::optional<double>>;

template <typename Value>
Cell asCell(Value const& value)
{
    if constexpr (std::is_integral_v<Value>)
        return std::optional<qint64>(value);
    else if constexpr (std::is_same_v<Value, double>)
        return std::optional<double>(value);
    else
        return value;
}

template <typename Row>
Cell cellOf(Row const& row, Column<Row> const& column)
{
    return std::visit(
        [&row](auto const& value) -> Cell {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>)
                return QString();
            else
                return asCell(std::invoke(value, row));
        },
        column.value);
}

QByteArray jsonOf(QString const& text, Kind /*kind*/)
{
    return ReportText::json(text);
}

QByteArray jsonOf(std::optional<qint64> number, Kind kind)
{
    if (!number)
        return QByteArrayLiteral("null");
    return kind == Kind::Time ? ReportText::json(LedgerReport::timeText(*number))
                              : QByteArray::number(*number);
}

QByteArray jsonOf(std::optional<double> number, Kind /*kind*/)
{
    constexpr int kDigits = 12;
    return number ? QByteArray::number(*number, 'g', kDigits) : QByteArrayLiteral("null");
}

QByteArray json(Cell const& cell, Kind kind)
{
    return std::visit([kind](auto const& value) { return jsonOf(value, kind); }, cell);
}

/** As a spreadsheet shows it: what it would take for something else is the result of a formula. */
QByteArray csvOf(QString const& text)
{
    static QRegularExpression const s_changed(
        QStringLiteral(
            "\\A([^\\p{L}/_]|(true|false)\\z|(jan|feb|mar|apr|may|jun|jul|aug|sep|oct|nov|dec)[a-z]*"
            "[ ./-]*[0-9])"),
        QRegularExpression::CaseInsensitiveOption);
    static QRegularExpression const s_quoted(QStringLiteral("[\",\\r\\n]"));
    QString cell = text;
    if (s_changed.match(cell).hasMatch())
        cell = QStringLiteral("=\"%1\"").arg(cell.replace(QLatin1Char('"'), QStringLiteral("\"\"")));
    if (s_quoted.match(cell).hasMatch())
        cell = QLatin1Char('"') + cell.replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
    return cell.toUtf8();
}

QByteArray csv(Cell const& cell, Kind kind)
{
    if (auto const* const text = std::get_if<QString>(&cell))
        return csvOf(*text);
    auto const number = std::get<std::optional<qint64>>(cell);
    if (!number)
        return QByteArray();
    return kind == Kind::Time ? LedgerReport::timeText(*number).toLatin1() : QByteArray::number(*number);
}

QString tableTextOf(QString const& text, Kind /*kind*/)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QString tableTextOf(std::optional<double> number, Kind kind)
{
    constexpr double kMillisecondsPerSecond = 1000;
    constexpr double kPercent = 100;
    if (!number)
        return QStringLiteral("-");
    if (kind == Kind::Duration)
        return QString::number(*number / kMillisecondsPerSecond, 'f', 3) + QStringLiteral(" s");
    return kind == Kind::Share ? QString::number(*number * kPercent, 'f', 1) + QStringLiteral(" %")
                               : QString::number(*number, 'f', 1);
}

QString tableTextOf(std::optional<qint64> number, Kind kind)
{
    if (number && kind == Kind::Duration)
        return tableTextOf(std::optional<double>(static_cast<double>(*number)), kind);
    if (number && kind == Kind::Time)
        return QDateTime::fromMSecsSinceEpoch(*number, Qt::UTC).toString(Qt::ISODate);
    return number ? QString::number(*number) : QStringLiteral("-");
}

template <typename Row, std::size_t N>
QStringList head(Column<Row> const (&columns)[N])
{
    static QRegularExpression const s_capital(QStringLiteral("(?=[A-Z])"));
    QStringList cells;
    for (Column<Row> const& column : columns) {
        if (column.value.index() > 0)
            cells << QString::fromLatin1(column.name).replace(s_capital, QStringLiteral(" ")).toUpper();
    }
    return cells;
}

template <typename Row, std::size_t N>
QStringList cells(Row const& row, Column<Row> const (&columns)[N])
{
    QStringList texts;
    for (Column<Row> const& column : columns) {
        if (column.value.index() > 0)
            texts << std::visit([&column](auto const& value) { return tableTextOf(value, column.kind); },
                                cellOf(row, column));
    }
    return texts;
}

template <typename Row, std::size_t N>
QByteArray table(std::vector<Row> const& rows, Column<Row> const (&columns)[N])
{
    QList<QStringList> texts{head(columns)};
    for (Row const& row : rows)
        texts << cells(row, columns);
    return ReportText::table(texts);
}

template <typename Row, std::size_t N>
QByteArray csvTable(std::vector<Row> const& rows, Column<Row> const (&columns)[N])
{
    QByteArray text;
    for (Column<Row> const& column : columns)
        text += (&column == columns ? "" : ",") + QByteArray(column.name);
    text += "\r\n";
    for (Row const& row : rows) {
        for (Column<Row> const& column : columns) {
            text += &column == columns ? "" : ",";
            text += csv(cellOf(row, column), column.kind);
        }
        text += "\r\n";
    }
    return text;
}

/** By hand, since QJsonObject would sort the keys. */
template <typename Row, std::size_t N>
QByteArray object(Row const& row, Column<Row> const (&columns)[N])
{
    QByteArray text;
    for (Column<Row> const& column : columns) {
        text += text.isEmpty() ? "{\"" : ",\"";
        text += column.name;
        text += "\":";
        text += column.json == nullptr ? json(cellOf(row, column), column.kind) : column.json(row);
    }
    return text += '}';
}

template <typename Row, std::size_t N>
QByteArray array(std::vector<Row> const& rows, Column<Row> const (&columns)[N])
{
    QByteArray text("[");
    for (Row const& row : rows) {
        text += &row == rows.data() ? "" : ",";
        text += object(row, columns);
    }
    return text += ']';
}

/** The JSON type of a column's values. */
template <typename Value>
char const* typeOf(Kind kind)
{
    bool const isTime = kind == Kind::Time;
    if constexpr (std::is_same_v<Value, QString>)
        return kind == Kind::Name ? R"("string")" : R"(["string","null"])";
    else if constexpr (std::is_integral_v<Value>)
        return isTime ? R"("string")" : R"("integer")";
    else if constexpr (std::is_same_v<Value, std::optional<qint64>>)
        return isTime ? R"(["string","null"])" : R"(["integer","null"])";
    else if constexpr (std::is_same_v<Value, double>)
        return R"("number")";
    else
        return R"(["number","null"])";
}

template <typename Row>
QByteArray valueSchema(Column<Row> const& column)
{
    if (column.itemSchema != nullptr)
        return R"({"type":"array","items":)" + column.itemSchema() + '}';
    char const* const type = std::visit(
        [&column](auto const& value) {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>)
                return "";
            else
                return typeOf<std::decay_t<std::invoke_result_t<decltype(value), Row const&>>>(column.kind);
        },
        column.value);
    return QByteArray(R"({"type":)") + type + (column.kind == Kind::Time ? R"(,"format":"date-time"})" : "}");
}

/** A JSON Schema of a row, which has all keys. */
template <typename Row, std::size_t N>
QByteArray rowSchema(Column<Row> const (&columns)[N])
{
    QList<QByteArray> properties;
    QList<QByteArray> keys;
    for (Column<Row> const& column : columns) {
        keys << '"' + QByteArray(column.name) + '"';
        properties << keys.constLast() + ':' + valueSchema(column);
    }
    return R"({"type":"object","required":)" + ReportText::jsonArray(keys) + R"(,"properties":{)" +
           properties.join(',') + "}}";
}

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

QString LedgerReport::timeText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).toString(Qt::ISODateWithMs);
}
