#include "benchmarks/Turns.h"
#include "tools/vrelhost/ledger/LedgerWriter.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>

namespace {

constexpr int kSteps = 5;
constexpr int kCommits = kSteps + 2; // the begin, each step's end, the result

LedgerBeginning beginning()
{
    LedgerBeginning beginning;
    beginning.serial = QStringLiteral("VREL0001");
    beginning.path = QStringLiteral("1-1.1");
    beginning.job = beginning.station = QStringLiteral("benchmark");
    beginning.route = QStringLiteral("in-process");
    beginning.isRecipe = true;
    for (int i = 0; i < kSteps; ++i)
        beginning.commands << QStringLiteral("writetoken");
    return beginning;
}

bool serve(Ledger& ledger)
{
    QString const service = ledger.begin(beginning());
    bool isRecorded = true;
    for (int i = 1; i <= kSteps; ++i)
        isRecorded =
            ledger.endStep(service, {i, QString(), QStringLiteral("success"), 200, QString()}).isNull() &&
            isRecorded;
    return ledger.end(service, QStringLiteral("success"), 1000, QString()).isNull() && isRecorded;
}

/** As durable as a ledger. */
QSqlDatabase openPlain(QString const& file)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("plain"));
    database.setDatabaseName(file);
    database.open();
    for (char const* const statement : {"PRAGMA journal_mode = WAL", "PRAGMA synchronous = FULL",
                                        "CREATE TABLE rows (number INTEGER PRIMARY KEY, text TEXT)"})
        QSqlQuery(database).exec(QLatin1String(statement));
    return database;
}

void recordService(benchmark::State& state)
{
    static char* s_noArgument = nullptr;
    int argumentCount = 0;
    QCoreApplication const application(argumentCount, &s_noArgument); // for the database's driver
    QTemporaryDir const directory;
    bool isSuccess = directory.isValid();
    {
        LedgerWriter ledger(directory.filePath(QStringLiteral("ledger.db")));
        QSqlDatabase const plain = openPlain(directory.filePath(QStringLiteral("plain.db")));
        Turns turns;
        for (auto _ : state) {
            turns.yardstick([&] {
                for (int i = 0; i < kCommits; ++i)
                    isSuccess =
                        QSqlQuery(plain).exec(QStringLiteral("INSERT INTO rows (text) VALUES ('success')")) &&
                        isSuccess;
            });
            turns.library(state, [&] { isSuccess = serve(ledger) && isSuccess; });
        }
        if (!isSuccess)
            state.SkipWithError("something was not written");
        turns.report(state);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("plain"));
}

BENCHMARK(recordService)->Name("ledger_service/both")->UseManualTime();

} // namespace
