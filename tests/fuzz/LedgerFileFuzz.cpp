#include "tests/fuzz/Require.h"
#include "tools/vrelhost/ledger/LedgerMerge.h"
#include "tools/vrelhost/ledger/LedgerPool.h"
#include "tools/vrelhost/ledger/LedgerReader.h"
#include "tools/vrelhost/ledger/LedgerReport.h"
#include "tools/vrelhost/ledger/LedgerWriter.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

/**
 * @file
 * A ledger's file. The input is all of it or, after an 'L', changes to that of a small ledger: a place of two
 * bytes and a byte that is put there, for each. Whatever the file is, it is read or refused; who reads it
 * changes nothing, and what is refused at once stays as it is.
 */
namespace {

std::string s_directory = "/dev/shm/vrel-fuzz-XXXXXX"; // where nothing waits for a disk

QString path(char const* name)
{
    return QString::fromStdString(s_directory + '/' + name);
}

QByteArray contentOf(QString const& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(QString const& name, QByteArray const& content)
{
    QFile file(name);
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "a file is written");
}

LedgerBeginning beginning(QString const& serial)
{
    LedgerBeginning beginning;
    beginning.serial = serial;
    beginning.path = QStringLiteral("1-1");
    beginning.job = beginning.station = beginning.route = QStringLiteral("text");
    beginning.isRecipe = true;
    beginning.commands = QStringList{QStringLiteral("enumerate"), QStringLiteral("startover")};
    beginning.inputs = {{QStringLiteral("fw.bin"), 1, QStringLiteral("abc")}};
    return beginning;
}

/** Does with a ledger all that is done with one. */
void use(Ledger& ledger)
{
    LedgerPool pool(QStringLiteral("t.csv"), {QStringLiteral("id")}, {{QStringLiteral("1")}});
    for (char const* const serial : {"A", "B"}) {
        ledger.doneBy(QLatin1String(serial), QStringLiteral("text"));
        QString const service = ledger.begin(beginning(QLatin1String(serial)));
        ledger.endStep(service, {1, QString(), QStringLiteral("success"), 5, QString()});
        if (serial[0] == 'A') {
            ledger.take(service, pool);
            ledger.end(service, QStringLiteral("success"), 9, QString());
        }
    }
}

/** @return whether it could be used */
template <typename Work>
bool attempt(Work const& work)
{
    try {
        work();
        return true;
    } catch (LedgerError const& error) {
        require(!error.text().isEmpty(), "an error says what is wrong");
        return false;
    }
}

void readAll(QString const& file)
{
    LedgerReader const reader(file);
    attempt([&] { LedgerReport::toCsv(reader.boards({})); });
    attempt([&] { LedgerReport::toText(reader.services({})); });
    attempt([&] { LedgerReport::toJson(reader.summary({})); });
    attempt([&] { LedgerReport::toJson(reader.places({})); });
}

QByteArray smallLedger()
{
    static int s_argc = 0;
    static QCoreApplication const s_application(s_argc, nullptr); // for the database's driver
    require(::mkdtemp(s_directory.data()) != nullptr &&
                std::atexit([] { std::filesystem::remove_all(s_directory); }) == 0,
            "there is a place for the ledger");
    {
        LedgerWriter ledger(path("small.db"));
        use(ledger);
    }
    return contentOf(path("small.db"));
}

QByteArray changed(QByteArray content, QByteArray const& changes)
{
    for (int i = 0; i + 2 < changes.size(); i += 3) {
        int const place = (static_cast<uchar>(changes.at(i)) << 8) | static_cast<uchar>(changes.at(i + 1));
        content[place % content.size()] = changes.at(i + 2);
    }
    return content;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static QByteArray const s_small = smallLedger();
    QByteArray const input(reinterpret_cast<char const*>(data), static_cast<int>(size));
    QByteArray const content = input.startsWith('L') ? changed(s_small, input.mid(1)) : input;
    QString const file = path("ledger.db");
    write(file, content);
    readAll(file);
    require(contentOf(file) == content && !QFile::exists(path("ledger.db-wal")), "who reads changes nothing");
    attempt([&] { mergeLedger(path("desk.db"), file); });
    require(contentOf(file) == content, "who merges changes only the one");
    if (!attempt([&] { LedgerWriter(file).makeReady(); }))
        require(contentOf(file) == content, "what is refused stays as it is");
    else
        attempt([&] {
            LedgerWriter ledger(file);
            use(ledger);
        });
    for (char const* const name : {"ledger.db", "ledger.db-wal", "ledger.db-shm", "ledger.db-alive",
                                   "desk.db", "desk.db-wal", "desk.db-shm"})
        QFile::remove(path(name));
    return 0;
}
