#include "tools/vrelhost/ledger/LedgerSchema.h"

#include <QList>

namespace {

/** A version that was released is never changed: what is to be different is a further list. */
QList<QStringList> const& versions()
{
    static QList<QStringList> const s_versions = {
        {
            QStringLiteral("CREATE TABLE processes (process BIGINT PRIMARY KEY, began BIGINT NOT NULL)"),
            QStringLiteral(
                "CREATE TABLE services (service TEXT PRIMARY KEY, serial TEXT NOT NULL, path TEXT, "
                "job TEXT NOT NULL, station TEXT NOT NULL, route TEXT NOT NULL, "
                "began BIGINT NOT NULL, ended BIGINT, duration BIGINT, result TEXT NOT NULL, "
                "error TEXT, log TEXT, tool TEXT NOT NULL, library TEXT NOT NULL, "
                "recipe INTEGER NOT NULL, process BIGINT REFERENCES processes)"),
            QStringLiteral(
                "CREATE TABLE steps (service TEXT NOT NULL REFERENCES services, "
                "number INTEGER NOT NULL, command TEXT NOT NULL, result TEXT NOT NULL, "
                "duration BIGINT NOT NULL, error TEXT, PRIMARY KEY (service, number)) WITHOUT ROWID"),
            QStringLiteral("CREATE TABLE inputs (service TEXT NOT NULL REFERENCES services, "
                           "name TEXT NOT NULL, size BIGINT NOT NULL, sha256 TEXT NOT NULL, "
                           "PRIMARY KEY (service, name)) WITHOUT ROWID"),
            QStringLiteral("CREATE TABLE taken (sha256 TEXT PRIMARY KEY, columns TEXT NOT NULL, "
                           "identifier TEXT NOT NULL, job TEXT NOT NULL, serial TEXT NOT NULL, "
                           "service TEXT NOT NULL REFERENCES services, given BIGINT NOT NULL)"),
            QStringLiteral("CREATE INDEX services_of_board ON services (serial, job, began, service)"),
            QStringLiteral("CREATE INDEX services_in_time ON services (began, service)"),
            QStringLiteral("CREATE INDEX services_of_place ON services (station, path, began, service)"),
            QStringLiteral(
                "CREATE INDEX services_under_way ON services (process) WHERE result = 'under way'"),
            QStringLiteral("CREATE INDEX taken_by_board ON taken (job, serial, columns)"),
        },
    };
    return s_versions;
}

} // namespace

int LedgerSchema::version()
{
    return versions().size();
}

QStringList const& LedgerSchema::statementsTo(int version)
{
    return versions().at(version - 1);
}
