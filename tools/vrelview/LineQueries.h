#pragma once

#include "tools/vrelhost/ledger/LedgerFilter.h"

#include <QByteArray>
#include <QString>

class LedgerReader;

/** What the page asks of a ledger beside what vrelhost shows of it, as compact JSON with a line end. */
namespace LineQueries {

/** For each hour in which boards came to their ends, how many succeeded and failed, by their last services.
 */
QByteArray hours(LedgerReader const& reader, LedgerFilter const& filter);

/** Boards whose serial numbers hold a text, in capitals or not, each with its last service; the likeliest
 * first. */
QByteArray search(LedgerReader const& reader, QString const& text);

/** The last service of each place with the last line of its log. */
QByteArray places(LedgerReader const& reader, LedgerFilter const& filter);

/** The log file of a service; null without one. */
QString logOf(LedgerReader const& reader, QString const& service);

} // namespace LineQueries
