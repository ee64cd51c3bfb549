#pragma once

#include "tools/vrelhost/ledger/LedgerRows.h"

#include <QByteArray>

/** What a ledger tells, in its forms; UTF-8 with a line end. */
namespace LedgerReport {

/** One line of compact JSON: an array of objects, times in ISO 8601. */
QByteArray toJson(std::vector<LedgerBoard> const& boards);
QByteArray toJson(std::vector<LedgerService> const& services);
QByteArray toJson(std::vector<LedgerSummary> const& jobs);

/** The service of a place, with the key "step". */
QByteArray toPlaceJson(LedgerService const& service, QByteArray const& moreMembers);

/** All about one board, as one object. */
QByteArray toJson(QString const& serial, std::vector<LedgerService> const& services);

/** A time as the JSON has it: UTC, ISO 8601, with milliseconds. */
QString timeText(qint64 time);

} // namespace LedgerReport
