#pragma once

#include "tools/vrelhost/ledger/LedgerRows.h"

#include <QByteArray>

/**
 * What a ledger tells, in its forms; UTF-8 with line ends. JSON is compact, on one line, with times in ISO
 * 8601. CSV is that of RFC 4180, with texts that a spreadsheet would take for a number, a date or a formula
 * written as ="TEXT". Tables are for people; in them what cannot be printed shows as '?'.
 */
namespace LedgerReport {

QByteArray toJson(std::vector<LedgerBoard> const& boards);
QByteArray toJson(std::vector<LedgerService> const& services);
QByteArray toJson(std::vector<LedgerSummary> const& jobs);

/** All about one board, as one object. */
QByteArray toJson(QString const& serial, std::vector<LedgerService> const& services);

/** The service of a place, with the key "step" and more members, as JSON without a line end. */
QByteArray toPlaceJson(LedgerService const& service, QByteArray const& moreMembers);

QByteArray toCsv(std::vector<LedgerBoard> const& boards);
QByteArray toCsv(std::vector<LedgerService> const& services);

QByteArray toTable(std::vector<LedgerBoard> const& boards);
QByteArray toTable(std::vector<LedgerService> const& services);
QByteArray toTable(std::vector<LedgerSummary> const& jobs);

/** Services in full, with steps and inputs. */
QByteArray toText(std::vector<LedgerService> const& services);

/** A JSON Schema of all that toJson yields. */
QByteArray schema();

} // namespace LedgerReport
