#include "tools/vrelhost/ledger/LedgerPool.h"

#include "tools/vrelhost/ledger/LedgerDatabase.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>
#include <utility>

namespace {

QString sortedColumns(QStringList columns)
{
    columns.sort();
    return columns.join(QLatin1Char(','));
}

/** The same for a copy of the file with other quotes, line ends or order of columns. */
QString hashOf(QStringList const& columns, QStringList const& texts)
{
    QJsonObject row; // sorts its keys
    for (int i = 0; i < columns.size(); ++i)
        row.insert(columns.at(i), texts.at(i));
    QByteArray const json = QJsonDocument(row).toJson(QJsonDocument::Compact);
    return QString::fromLatin1(QCryptographicHash::hash(json, QCryptographicHash::Sha256).toHex());
}

} // namespace

LedgerPool::LedgerPool(QString file, QStringList const& columns, std::vector<QStringList> const& rows)
    : m_file(std::move(file))
    , m_columns(sortedColumns(columns))
    , m_left(rows.size())
{
    for (QStringList const& texts : rows)
        m_rows.push_back({hashOf(columns, texts), texts.constFirst()});
}

std::size_t LedgerPool::take(LedgerDatabase const& database, QString const& service)
{
    QString job;
    QString serial;
    database.read(QStringLiteral("SELECT job, serial FROM services WHERE service = ?"), {service},
                  [&](QSqlQuery const& row) {
                      job = row.value(0).toString();
                      serial = row.value(1).toString();
                  });
    QVariant const before =
        database.value(QStringLiteral("SELECT sha256 FROM taken WHERE job = ? AND serial = ? AND columns = ? "
                                      "ORDER BY given DESC, sha256 DESC"),
                       {job, serial, m_columns});
    if (before.isValid())
        return takenBefore(before.toString());
    if (!std::exchange(m_isSearched, true))
        findFree(database);
    // Other processes may have taken rows meanwhile.
    for (; !m_free.empty(); m_free.pop_front()) {
        Row const& row = m_rows[m_free.front()];
        int const count = database.run(
            QStringLiteral("INSERT INTO taken (sha256, columns, identifier, job, serial, service, given) "
                           "VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING"),
            {row.sha256, m_columns, row.identifier, job, serial, service,
             QDateTime::currentMSecsSinceEpoch()});
        m_left = m_free.size() - static_cast<std::size_t>(count);
        if (count > 0)
            return m_free.front(); // stays in the list, since this may yet be undone
    }
    m_left = 0;
    throw LedgerError(LedgerError::Unavailable,
                      QStringLiteral("No row of '%1' is left: other boards have taken all %2; add rows to it")
                          .arg(m_file)
                          .arg(m_rows.size()));
}

std::size_t LedgerPool::takenBefore(QString const& sha256) const
{
    auto const row = std::find_if(m_rows.begin(), m_rows.end(),
                                  [&sha256](Row const& entry) { return entry.sha256 == sha256; });
    if (row == m_rows.end())
        throw LedgerError(LedgerError::Unavailable,
                          QStringLiteral("The row that this board took in this job is no longer in '%1', and "
                                         "a board takes only one: put the row back")
                              .arg(m_file));
    return static_cast<std::size_t>(row - m_rows.begin());
}

void LedgerPool::findFree(LedgerDatabase const& database)
{
    QSet<QString> given;
    database.read(QStringLiteral("SELECT sha256 FROM taken WHERE columns = ?"), {m_columns},
                  [&given](QSqlQuery const& row) { given.insert(row.value(0).toString()); });
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        if (!given.contains(m_rows[i].sha256))
            m_free.push_back(i);
    }
}
