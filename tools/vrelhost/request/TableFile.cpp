#include "tools/vrelhost/request/TableFile.h"

#include "tools/vrelhost/request/Placeholders.h"
#include "tools/vrelhost/request/Refusal.h"

#include <QFile>

#include <sys/stat.h>

TableFile::TableFile(QString name, CsvTable::Use use)
    : m_name(std::move(name))
    , m_use(use)
{
}

std::shared_ptr<CsvTable const> TableFile::current()
{
    std::lock_guard const lock(m_mutex);
    struct stat status = {};
    static_cast<void>(::stat(QFile::encodeName(m_name).constData(), &status));
    Stamp const stamp = {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                         status.st_mtim.tv_nsec};
    if (m_table && stamp == m_stamp)
        return m_table;
    auto const table = std::make_shared<CsvTable const>(CsvTable::read(m_name, m_use));
    if (m_table && table->columns() != m_table->columns())
        throw Refusal(
            QStringLiteral("Cannot use the table '%1': its columns were changed meanwhile").arg(m_name),
            Refusal::NoAdvice);
    m_table = table;
    m_stamp = stamp;
    return m_table;
}

QStringList TableFile::placeholders()
{
    QStringList names = current()->columns();
    names.removeAll(QStringLiteral("serial"));
    return names;
}

void TableFile::fill(Placeholders& values, CsvTable const& table, std::size_t row)
{
    QStringList const& texts = table.rows().at(row);
    for (int i = 0; i < texts.size(); ++i) {
        if (table.columns().at(i) != QLatin1String("serial"))
            values.add(table.columns().at(i), texts.at(i));
    }
}
