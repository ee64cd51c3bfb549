#include "tools/vrelhost/ledger/LedgerReport.h"

#include "tools/vrelhost/log/ReportText.h"

#include <QDateTime>

namespace {

QByteArray json(QString const& text)
{
    return ReportText::json(text);
}

QByteArray json(qint64 number)
{
    return QByteArray::number(number);
}

QByteArray json(double number)
{
    constexpr int kDigits = 12;
    return QByteArray::number(number, 'g', kDigits);
}

template <typename Value>
QByteArray json(std::optional<Value> const& value)
{
    return value ? json(*value) : QByteArrayLiteral("null");
}

QByteArray timeJson(std::optional<qint64> const& time)
{
    return json(time ? LedgerReport::timeText(*time) : QString());
}

template <typename Value>
QByteArray jsonArray(std::vector<Value> const& values, QByteArray (*toJson)(Value const&))
{
    QList<QByteArray> entries;
    for (Value const& value : values)
        entries << toJson(value);
    return ReportText::jsonArray(entries);
}

/** By hand, since QJsonObject would sort the keys. */
class Object
{
public:
    template <typename Value>
    Object& add(char const* key, Value const& value)
    {
        return addJson(key, json(value));
    }

    Object& addTime(char const* key, std::optional<qint64> const& time)
    {
        return addJson(key, timeJson(time));
    }

    Object& addJson(char const* key, QByteArray const& value)
    {
        m_text += (m_text.isEmpty() ? "{\"" : ",\"") + QByteArray(key) + "\":" + value;
        return *this;
    }

    QByteArray text() const { return m_text + '}'; }

private:
    QByteArray m_text;
};

QByteArray json(LedgerStep const& step)
{
    return Object()
        .add("command", step.command)
        .add("result", step.result)
        .add("duration", step.duration)
        .add("error", step.error)
        .text();
}

QByteArray json(LedgerInput const& input)
{
    return Object().add("name", input.name).add("size", input.size).add("sha256", input.sha256).text();
}

Object objectOf(LedgerService const& service)
{
    return Object()
        .add("service", service.service)
        .add("serial", service.serial)
        .add("path", service.path)
        .add("job", service.job)
        .add("station", service.station)
        .add("route", service.route)
        .addTime("began", service.began)
        .addTime("ended", service.ended)
        .add("duration", service.duration)
        .add("result", service.result)
        .add("error", service.error)
        .add("log", service.log)
        .addJson("steps", jsonArray(service.steps, json))
        .addJson("inputs", jsonArray(service.inputs, json))
        .add("tool", service.tool)
        .add("library", service.library);
}

QByteArray json(LedgerService const& service)
{
    return objectOf(service).text();
}

QByteArray json(LedgerBoard const& board)
{
    return Object()
        .add("serial", board.serial)
        .add("job", board.job)
        .add("station", board.station)
        .add("path", board.path)
        .add("result", board.result)
        .add("attempts", board.attempts)
        .addTime("first", board.first)
        .addTime("last", board.last)
        .add("step", board.step)
        .add("error", board.error)
        .text();
}

QByteArray json(LedgerSummary::Step const& step)
{
    return Object()
        .add("number", qint64{step.number})
        .add("command", step.command)
        .add("runs", step.runs)
        .add("failures", step.failures)
        .add("median", step.median)
        .add("longest", step.longest)
        .text();
}

QByteArray json(LedgerSummary::Error const& error)
{
    return Object()
        .add("text", error.text)
        .add("step", error.step > 0 ? std::make_optional(qint64{error.step}) : std::nullopt)
        .add("command", error.command)
        .add("boards", error.boards)
        .text();
}

QByteArray json(LedgerSummary const& job)
{
    return Object()
        .add("job", job.job)
        .add("boards", job.boards)
        .add("success", job.success)
        .add("failure", job.failure)
        .add("interrupted", job.interrupted)
        .add("underWay", job.underWay)
        .add("firstPass", job.firstPass)
        .add("firstPassYield", job.firstPassYield())
        .add("yield", job.yield())
        .addTime("began", job.began)
        .addTime("ended", job.ended)
        .add("perHour", job.perHour())
        .addJson("steps", jsonArray(job.steps, json))
        .addJson("errors", jsonArray(job.errors, json))
        .text();
}

} // namespace

QByteArray LedgerReport::toJson(std::vector<LedgerBoard> const& boards)
{
    return jsonArray(boards, json) + '\n';
}

QByteArray LedgerReport::toJson(std::vector<LedgerService> const& services)
{
    return jsonArray(services, json) + '\n';
}

QByteArray LedgerReport::toJson(std::vector<LedgerSummary> const& jobs)
{
    return jsonArray(jobs, json) + '\n';
}

QByteArray LedgerReport::toPlaceJson(LedgerService const& service, QByteArray const& moreMembers)
{
    return objectOf(service).add("step", service.step()).text().chopped(1) + moreMembers + '}';
}

QByteArray LedgerReport::toJson(QString const& serial, std::vector<LedgerService> const& services)
{
    return Object().add("serial", serial).addJson("services", jsonArray(services, json)).text() + '\n';
}

QString LedgerReport::timeText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).toString(Qt::ISODateWithMs);
}
