#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/common/ReportText.h"
#include "tools/common/ToolProcess.h"
#include "tools/vrelhost/commandline/OptionTable.h"
#include "tools/vrelhost/ledger/LedgerError.h"
#include "tools/vrelhost/ledger/LedgerMerge.h"
#include "tools/vrelhost/ledger/LedgerReader.h"
#include "tools/vrelhost/ledger/LedgerReport.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/subcommands/Subcommands.h"

#include <QDateTime>

#include <algorithm>
#include <optional>

namespace {

struct FilterOptions
{
    std::optional<QString> job;
    std::optional<QString> serial;
    std::optional<QString> station;
    std::optional<QString> result;
    std::optional<QString> since;
    std::optional<QString> until;
};

struct FormOptions
{
    bool isJson = false;
    bool isCsv = false;
};

constexpr OptionRow<FilterOptions> kFilterOptions[] = {
    {"job", "NAME", &FilterOptions::job, "Only services in the job NAME."},
    {"serial", "TEXT", &FilterOptions::serial, "Only the board with exactly this serial number."},
    {"station", "NAME", &FilterOptions::station, "Only services at the station NAME."},
    {"result", "WORD", &FilterOptions::result,
     "Only success, failure, interrupted or 'under way'; of boards, by their last service."},
    {"since", "TIME", &FilterOptions::since,
     "Only services that began at TIME or later: ISO 8601 (UTC without a zone), or an age such as 90s, 15m, "
     "8h, "
     "3d."},
    {"until", "TIME", &FilterOptions::until, "Only services that began before TIME."},
};

constexpr OptionRow<FormOptions> kJsonOption[] = {
    {"json", "", &FormOptions::isJson, "Print one line of JSON instead of a table."},
};

constexpr OptionRow<FormOptions> kCsvOption[] = {
    {"csv", "", &FormOptions::isCsv, "Print CSV that spreadsheets show as it is."},
};

QList<QCommandLineOption> jsonDefinitions()
{
    return definitions(kJsonOption);
}

QList<QCommandLineOption> summaryDefinitions()
{
    return definitions(kFilterOptions) + definitions(kJsonOption);
}

QList<QCommandLineOption> listDefinitions()
{
    return summaryDefinitions() + definitions(kCsvOption);
}

void readTime(std::optional<QString> const& text, char const* option, qint64& time)
{
    if (!text)
        return;
    QString error;
    auto const read = LedgerFilter::readTime(*text, QDateTime::currentMSecsSinceEpoch(), error);
    if (!read)
        throw Refusal(QStringLiteral("--%1: %2").arg(QLatin1String(option), error));
    time = *read;
}

LedgerFilter readFilter(Invocation const& call)
{
    FilterOptions options;
    readOptions(call.options, kFilterOptions, options);
    if (options.result && !LedgerFilter::isResult(*options.result))
        throw Refusal(QStringLiteral("--result must be one of %1, not '%2'")
                          .arg(LedgerFilter::resultWords(), *options.result));
    LedgerFilter filter;
    filter.job = options.job;
    filter.serial = options.serial;
    filter.station = options.station;
    filter.result = options.result;
    readTime(options.since, "since", filter.since);
    readTime(options.until, "until", filter.until);
    return filter;
}

/** Yields the exit code of the work; why the ledger cannot be used is logged. */
template <typename Work>
int withLedger(Invocation const& call, Work const& work)
{
    try {
        return work(call.arguments.constFirst());
    } catch (LedgerError const& error) {
        call.console.log().logMessage(kErrorLevel, error.text());
        return ExitFailure;
    }
}

FormOptions readForm(Invocation const& call)
{
    FormOptions form;
    readOptions(call.options, kJsonOption, form);
    return form;
}

/** @param query of LedgerReader, which yields rows */
template <typename Query>
int printRows(Invocation const& call, Query query)
{
    FormOptions form = readForm(call);
    readOptions(call.options, kCsvOption, form);
    if (form.isJson && form.isCsv)
        throw Refusal(QStringLiteral("--json and --csv cannot be used together"));
    LedgerFilter const filter = readFilter(call);
    return withLedger(call, [&](QString const& file) {
        auto const rows = (LedgerReader(file).*query)(filter);
        return call.console.print(form.isJson  ? LedgerReport::toJson(rows)
                                  : form.isCsv ? LedgerReport::toCsv(rows)
                                               : LedgerReport::toTable(rows));
    });
}

int showBoards(Invocation const& call)
{
    return printRows(call, &LedgerReader::boards);
}

int showServices(Invocation const& call)
{
    return printRows(call, &LedgerReader::services);
}

int showSummary(Invocation const& call)
{
    LedgerFilter const filter = readFilter(call);
    return withLedger(call, [&](QString const& file) {
        auto const jobs = LedgerReader(file).summary(filter);
        return call.console.print(readForm(call).isJson ? LedgerReport::toJson(jobs)
                                                        : LedgerReport::toTable(jobs));
    });
}

int showBoard(Invocation const& call)
{
    LedgerFilter filter;
    filter.serial = call.arguments.at(1);
    return withLedger(call, [&](QString const& file) {
        auto const services = LedgerReader(file).services(filter);
        if (services.empty())
            throw LedgerError(LedgerError::Unavailable,
                              QStringLiteral("The ledger '%1' has no board '%2'")
                                  .arg(file, ReportText::printable(*filter.serial)));
        return call.console.print(readForm(call).isJson ? LedgerReport::toJson(*filter.serial, services)
                                                        : LedgerReport::toText(services));
    });
}

/** Those that can be merged are, whatever the others are like. */
int merge(Invocation const& call)
{
    int exitCode = ExitSuccess;
    for (QString const& other : call.arguments.mid(1))
        exitCode = std::max(exitCode, withLedger(call, [&](QString const& file) {
                                mergeLedger(file, other);
                                return ExitSuccess;
                            }));
    return exitCode;
}

constexpr Arguments::Meaning kFileMeaning = {"FILE",
                                             "The ledger, as run and station write it with --ledger."};
constexpr Arguments kFile = {"FILE", {kFileMeaning}};
constexpr Arguments kFileAndSerial = {"FILE SERIAL",
                                      {kFileMeaning, {"SERIAL", "The board's serial number, all of it."}}};
constexpr Arguments kFileAndOthers = {
    "FILE OTHER...",
    {{"FILE", "The ledger that gets the services; made when it is missing."},
     {"OTHER", "A ledger whose services it gets, all of them or none."}}};

constexpr char const* kRead = "success, also when nothing was found";
constexpr char const* kNotRead = "the ledger cannot be read, or the result cannot be written";

} // namespace

Subcommands::Rows Subcommands::ledger()
{
    return {
        {"ledger boards", kFile, listDefinitions, showBoards,
         "Lists the boards in a ledger, each with its last service in each job.", kRead, kNotRead,
         "vrelhost ledger boards ledger.db --result failure --since 8h"},
        {"ledger services", kFile, listDefinitions, showServices,
         "Lists the services in a ledger, one for each time that a board was served; oldest first.", kRead,
         kNotRead, "vrelhost ledger services ledger.db --serial 0A1B2C3D"},
        {"ledger summary", kFile, summaryDefinitions, showSummary,
         "Sums up each job in a ledger: boards, yields, rate, times of steps, most frequent errors.", kRead,
         kNotRead, "vrelhost ledger summary ledger.db --since 8h"},
        {"ledger show", kFileAndSerial, jsonDefinitions, showBoard,
         "Shows everything about one board: each service with its steps and inputs.", "success",
         "the ledger has no such board or cannot be read, or the result cannot be written",
         "vrelhost ledger show ledger.db 0A1B2C3D"},
        {"ledger merge", kFileAndOthers, nullptr, merge,
         "Copies the services of other ledgers into one; a second time changes nothing.", "success",
         "a ledger cannot be read or written; nothing of this OTHER was copied",
         "vrelhost ledger merge all.db ledger.db"},
    };
}
