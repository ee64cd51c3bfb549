#pragma once

#include <QString>

/**
 * Takes over the services of another ledger, and of those that it has already what has happened to them
 * since; what they say of their own processes holds. The file is made where it is missing.
 * @throw LedgerError Nothing of the other was taken over.
 */
void mergeLedger(QString const& file, QString const& other);
