#include "tools/vrelview/LedgerWatch.h"

#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelhost/ledger/LedgerError.h"
#include "tools/vrelhost/ledger/LedgerProcesses.h"
#include "tools/vrelview/LogFiles.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <tuple>
#include <utility>

LedgerWatch::FileState::FileState(QString const& name)
{
    constexpr qint64 kSecond = 1000000000;
    struct stat status = {};
    if (::stat(QFile::encodeName(name).constData(), &status) != 0)
        return;
    device = status.st_dev;
    node = status.st_ino;
    size = status.st_size;
    changed = status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec;
}

bool LedgerWatch::FileState::operator==(FileState const& other) const
{
    return std::tie(device, node, size, changed) ==
           std::tie(other.device, other.node, other.size, other.changed);
}

LedgerWatch::LedgerWatch(QString file)
    : m_file(std::move(file))
    , m_reader(m_file)
{
}

LedgerWatch::Change LedgerWatch::look()
{
    bool isLedger = haveFilesChanged();
    if (isLedger || !m_fault.isEmpty()) {
        QString const fault = m_fault;
        readUnderWay();
        isLedger = isLedger || m_fault != fault;
    }
    auto const sizes = [this] {
        QList<qint64> list;
        for (QString const& log : m_logs)
            list << LogFiles::sizeOf(log);
        return list;
    };
    QList<qint64> const logSizes = std::exchange(m_logSizes, sizes());
    QList<qint64> const dead = m_dead;
    try {
        m_dead = LedgerProcesses(m_file).dead(m_processes);
    } catch (LedgerError const& error) {
        isLedger = isLedger || m_fault != error.text();
        m_fault = error.text();
    }
    if (isLedger || dead != m_dead)
        return Change::Ledger;
    return logSizes == m_logSizes ? Change::None : Change::Lines;
}

/**
 * Times of files advance in steps of some milliseconds. A file that was written just now may be written once
 * more without another time, so it counts as changed at the next look too.
 */
bool LedgerWatch::haveFilesChanged()
{
    constexpr qint64 kStep = 50000000;
    constexpr qint64 kMillisecond = 1000000;
    QString const target = QFileInfo(m_file).canonicalFilePath();
    std::vector<FileState> files{FileState(m_file), FileState(target + QStringLiteral("-wal"))};
    bool const haveChanged = files != m_files;
    qint64 const latest = QDateTime::currentMSecsSinceEpoch() * kMillisecond - kStep;
    bool const isYoung = std::any_of(files.begin(), files.end(),
                                     [latest](FileState const& file) { return file.changed > latest; });
    m_files = isYoung ? std::vector<FileState>() : std::move(files);
    return haveChanged;
}

void LedgerWatch::readUnderWay()
{
    m_fault.clear();
    try {
        m_reader.read([this](LedgerDatabase const& database, QList<qint64> const& dead) {
            m_dead = dead;
            m_processes.clear();
            m_logs.clear();
            database.read(QStringLiteral("SELECT process, log FROM services WHERE result = 'under way'"), {},
                          [this](QSqlQuery const& row) {
                              if (!row.value(0).isNull())
                                  m_processes << row.value(0).toLongLong();
                              if (!row.value(1).isNull())
                                  m_logs << row.value(1).toString();
                          });
        });
    } catch (LedgerError const& error) {
        m_fault = error.text();
    }
}
