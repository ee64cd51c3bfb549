#include "tools/vrelhost/ledger/LedgerWriter.h"

#include "tools/vrelhost/ledger/LedgerPool.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QUuid>

#include <algorithm>
#include <chrono>
#include <sys/stat.h>
#include <system_error>

namespace {

/** For columns that are never null. */
QString orEmpty(QString const& text)
{
    return text.isNull() ? QLatin1String("") : text;
}

/** UUIDs of one after the other grow with the time, so that they lie side by side in the database: version 7.
 */
QString newService(qint64 time)
{
    constexpr quint16 kVersion = 0x7000;
    constexpr quint16 kRandomOfVersion = 0x0FFF;
    constexpr quint64 kVariant = 0x8000000000000000;
    constexpr quint64 kRandomOfVariant = 0x3FFFFFFFFFFFFFFF;
    QRandomGenerator& random = *QRandomGenerator::system();
    quint64 const low = (random.generate64() & kRandomOfVariant) | kVariant;
    auto const byte = [low](int place) { return static_cast<uchar>(low >> (8 * (7 - place))); };
    return QUuid(static_cast<uint>(time >> 16), static_cast<ushort>(time),
                 static_cast<ushort>((random.generate() & kRandomOfVersion) | kVersion), byte(0), byte(1),
                 byte(2), byte(3), byte(4), byte(5), byte(6), byte(7))
        .toString(QUuid::WithoutBraces);
}

/** A clock that was put back does not change the order of a board's services. */
qint64 beginOf(LedgerBeginning const& beginning, LedgerDatabase const& database)
{
    QVariant const last =
        database.value(QStringLiteral("SELECT MAX(began) FROM services WHERE serial = ? AND job = ?"),
                       {orEmpty(beginning.serial), beginning.job});
    return std::max(QDateTime::currentMSecsSinceEpoch(), last.toLongLong() + 1);
}

void insertInputs(QString const& service, std::vector<LedgerInput> const& inputs,
                  LedgerDatabase const& database)
{
    for (LedgerInput const& input : inputs)
        database.run(QStringLiteral("INSERT INTO inputs (service, name, size, sha256) VALUES (?, ?, ?, ?) "
                                    "ON CONFLICT DO NOTHING"),
                     {service, input.name, input.size, input.sha256});
}

void insert(QString const& service, LedgerBeginning const& beginning, qint64 began, qint64 process,
            LedgerDatabase const& database)
{
    database.run(
        QStringLiteral("INSERT INTO services (service, serial, path, job, station, route, began, result, "
                       "log, tool, library, recipe, process) "
                       "VALUES (?, ?, ?, ?, ?, ?, ?, 'under way', ?, ?, ?, ?, ?)"),
        {service, orEmpty(beginning.serial), beginning.path, beginning.job, beginning.station,
         beginning.route, began,
         beginning.log.isNull() ? QString() : QFileInfo(beginning.log).absoluteFilePath(),
         orEmpty(beginning.tool), orEmpty(beginning.library), beginning.isRecipe ? 1 : 0, process});
    for (int i = 0; i < beginning.commands.size(); ++i)
        database.run(QStringLiteral("INSERT INTO steps (service, number, command, result, duration) "
                                    "VALUES (?, ?, ?, 'not run', 0)"),
                     {service, i + 1, beginning.commands.at(i)});
    insertInputs(service, beginning.inputs, database);
}

/** Services of dead processes that have no end will have none. */
void settle(LedgerDatabase const& database, LedgerProcesses const& processes)
{
    for (qint64 const process : processes.deadUnderWay(database))
        database.run(QStringLiteral("UPDATE services SET result = 'interrupted' "
                                    "WHERE result = 'under way' AND process = ?"),
                     {process});
}

std::pair<dev_t, ino_t> identityOf(QString const& file)
{
    struct stat status = {};
    static_cast<void>(::stat(QFile::encodeName(file).constData(), &status));
    return {status.st_dev, status.st_ino};
}

/** Changes one row, or says that it is gone. */
void change(LedgerDatabase const& database, QString const& statement, QVariantList const& values)
{
    if (database.run(statement, values) == 0)
        throw LedgerError(LedgerError::Unavailable,
                          QStringLiteral("The ledger '%1' was replaced by another").arg(database.file()));
}

} // namespace

LedgerWriter::LedgerWriter(QString file)
    : m_file(std::move(file))
{
}

LedgerWriter::~LedgerWriter()
{
    {
        std::lock_guard const lock(m_mutex);
        m_isOver = true;
    }
    m_change.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

void LedgerWriter::makeReady()
{
    carryOut([](LedgerDatabase const& /*database*/) {});
}

QString LedgerWriter::doneBy(QString const& serial, QString const& job)
{
    QString service;
    carryOut([&](LedgerDatabase const& database) {
        service.clear();
        database.read(QStringLiteral("SELECT service, result FROM services WHERE serial = ? AND job = ? "
                                     "ORDER BY began DESC, service DESC LIMIT 1"),
                      {orEmpty(serial), job}, [&service](QSqlQuery const& row) {
                          if (row.value(1) == QLatin1String("success"))
                              service = row.value(0).toString();
                      });
    });
    return service;
}

QString LedgerWriter::begin(LedgerBeginning const& beginning)
{
    QString service;
    carryOut([&](LedgerDatabase const& database) {
        qint64 const began = beginOf(beginning, database);
        service = newService(began);
        insert(service, beginning, began, m_process, database);
    });
    return service;
}

QString LedgerWriter::addInputs(QString const& service, std::vector<LedgerInput> const& inputs)
{
    if (inputs.empty())
        return QString();
    return note(QStringLiteral("A file that is read"),
                [=](LedgerDatabase const& database) { insertInputs(service, inputs, database); });
}

QString LedgerWriter::endStep(QString const& service, LedgerStep const& step)
{
    return note(QStringLiteral("The end of step %1").arg(step.number), [=](LedgerDatabase const& database) {
        change(database,
               QStringLiteral("UPDATE steps SET result = ?, duration = ?, error = ? "
                              "WHERE service = ? AND number = ?"),
               {step.result, step.duration, step.error, service, step.number});
    });
}

QString LedgerWriter::end(QString const& service, QString const& result, qint64 duration,
                          QString const& error)
{
    qint64 const now = QDateTime::currentMSecsSinceEpoch();
    return note(QStringLiteral("The result '%1'").arg(result), [=](LedgerDatabase const& database) {
        change(database,
               QStringLiteral("UPDATE services SET result = ?, duration = ?, error = ?, "
                              "ended = CASE WHEN began > ? THEN began ELSE ? END WHERE service = ?"),
               {result, duration, error, now, now, service});
    });
}

std::size_t LedgerWriter::take(QString const& service, LedgerPool& pool)
{
    std::size_t row = 0;
    Work const work = [&](LedgerDatabase const& database) { row = pool.take(database, service); };
    carryOut(work, true); // so that for the pool what is in the ledger stays there
    return row;
}

void LedgerWriter::carryOut(Work const& work, bool isAlone)
{
    Order order{work, isAlone};
    {
        std::lock_guard const lock(m_mutex);
        startThread();
        m_orders.push_back(&order);
    }
    m_change.notify_one();
    if (std::optional<LedgerError> const error = order.done.get_future().get())
        throw LedgerError(*error);
}

/** Not before there is something to do, so that a lack of threads is an error as any other. */
void LedgerWriter::startThread()
try {
    if (!m_thread.joinable())
        m_thread = std::thread([this] { serve(); });
} catch (std::system_error const&) {
    throw LedgerError(
        LedgerError::Unavailable,
        QStringLiteral("Cannot use the ledger '%1': the system allows no more threads").arg(m_file));
}

QString LedgerWriter::note(QString const& what, Work const& work)
{
    try {
        carryOut(work);
        return QString();
    } catch (LedgerError const& error) {
        std::lock_guard const lock(m_mutex);
        m_missed.push_back(work);
        return QStringLiteral("%1 is not in the ledger: %2").arg(what, error.text());
    }
}

void LedgerWriter::serve()
{
    constexpr std::chrono::milliseconds kGathering(1);
    bool isShared = false;
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_change.wait(lock, [this] { return m_isOver || !m_orders.empty(); });
        if (isShared) // boards that end their steps together are here soon, and one commit does for all
            m_change.wait_for(lock, kGathering, [this] { return m_isOver; });
        Orders const orders = std::exchange(m_orders, {});
        isShared = orders.size() > 1;
        lock.unlock();
        carryOutMissed();
        if (orders.empty())
            break;
        if (std::any_of(orders.begin(), orders.end(), [](Order const* order) { return order->isAlone; }))
            std::for_each(orders.begin(), orders.end(), [this](Order* order) { carryOutAtOnce({order}); });
        else
            carryOutAtOnce(orders);
        lock.lock();
    }
    m_database.reset();
}

/** In one transaction, which takes as long as that of one of them, unless one of them fails. */
void LedgerWriter::carryOutAtOnce(Orders const& orders)
{
    try {
        LedgerDatabase const& ledger = database();
        ledger.transaction([&] {
            for (Order const* order : orders)
                order->work(ledger);
        });
        for (Order* order : orders)
            order->done.set_value(std::nullopt);
    } catch (LedgerError const& error) {
        if (orders.size() == 1)
            orders.front()->done.set_value(error);
        else
            std::for_each(orders.begin(), orders.end(), [this](Order* order) { carryOutAtOnce({order}); });
    }
}

/** Tries once; what fails again waits for the next time. */
void LedgerWriter::carryOutMissed()
{
    std::unique_lock lock(m_mutex);
    std::vector<Work> missed = std::exchange(m_missed, {});
    lock.unlock();
    if (missed.empty())
        return;
    try {
        LedgerDatabase const& ledger = database();
        ledger.transaction([&] {
            for (Work const& work : missed)
                work(ledger);
        });
    } catch (LedgerError const&) {
        lock.lock();
        m_missed.insert(m_missed.begin(), missed.begin(), missed.end());
    }
}

/** Opens it where that has not been done, or the file is another one now. */
LedgerDatabase const& LedgerWriter::database()
{
    if (m_database && identityOf(m_file) == m_identity)
        return *m_database;
    m_database.reset();
    m_database.emplace(m_file, LedgerDatabase::Access::Write);
    try {
        m_database->run(
            QStringLiteral("PRAGMA cache_size = -256")); // KiB: enough to add rows, however many there are
        m_processes.emplace(m_file);
        m_process = m_database->transaction([this] { return registered(*m_database); });
    } catch (LedgerError const&) {
        m_database.reset();
        throw;
    }
    m_identity = identityOf(m_file);
    return *m_database;
}

/** @return a number that no process has had */
qint64 LedgerWriter::registered(LedgerDatabase const& database)
{
    settle(database, *m_processes);
    qint64 process = database.value(QStringLiteral("SELECT MAX(process) FROM processes")).toLongLong() + 1;
    while (!m_processes->claim(process)) // that of a ledger which was here before
        ++process;
    database.run(QStringLiteral("INSERT INTO processes (process, began) VALUES (?, ?)"),
                 {process, QDateTime::currentMSecsSinceEpoch()});
    return process;
}
