#pragma once

#include <QStringList>

/** The tables of a ledger, as docs/ledger.md describes them. */
namespace LedgerSchema {

constexpr int kApplicationId = 0x5672656C; ///< "Vrel"

/** The newest version: how many lists of statements there are. */
int version();

/** Statements that lead from the version before to this one. @param version from 1 */
QStringList const& statementsTo(int version);

} // namespace LedgerSchema
