#pragma once

#include "tools/vrelhost/request/CsvTable.h"

#include <memory>
#include <mutex>
#include <sys/types.h>
#include <tuple>

class Placeholders;

/** A table in a file, which is read again when it has changed. Any thread. */
class TableFile
{
public:
    TableFile(QString name, CsvTable::Use use);

    QString const& name() const { return m_name; }

    /** As it is now. Throws Refusal when it is none, or has other columns than the first time. */
    std::shared_ptr<CsvTable const> current();

    /** The columns that give placeholders. */
    QStringList placeholders();

    /** Adds a row's texts to the values. */
    static void fill(Placeholders& values, CsvTable const& table, std::size_t row);

private:
    using Stamp = std::tuple<dev_t, ino_t, off_t, time_t, long>;

    QString const m_name;
    CsvTable::Use const m_use;
    std::mutex m_mutex; ///< guards all below
    Stamp m_stamp = {};
    std::shared_ptr<CsvTable const> m_table;
};
