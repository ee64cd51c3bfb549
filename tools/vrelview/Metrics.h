#pragma once

#include <QByteArray>

class LedgerReader;

/** A ledger's numbers in the text format of Prometheus. */
namespace Metrics {

QByteArray text(LedgerReader const& reader);

} // namespace Metrics
