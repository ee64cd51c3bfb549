#include "tools/vrelhost/ledger/LedgerDatabase.h"

#include <QCoreApplication>

/** Makes the ledger that it is given the name of, with nothing in it. */
int main(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    LedgerDatabase const ledger(QCoreApplication::arguments().at(1), LedgerDatabase::Access::Write);
    return 0;
}
