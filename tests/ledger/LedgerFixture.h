#pragma once

#include "tests/support/Child.h"
#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelhost/ledger/LedgerWriter.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <ostream>

/** A directory of its own, with a ledger that does not exist yet, for every test. */
class LedgerTest : public testing::Test
{
protected:
    LedgerTest();
    ~LedgerTest() override { std::filesystem::remove_all(m_directory); }

    QString path(char const* name) const { return QString::fromStdString((m_directory / name).string()); }

    /** Names and contents of all files, but for that which says who is alive. */
    std::string files() const;

    std::filesystem::path m_directory;
    QString m_ledger;
};

LedgerBeginning beginning(QString const& serial, QString const& job = QStringLiteral("job"));

/** A whole service of two steps. @return it */
QString serve(Ledger& ledger, QString const& serial, QString const& job = QStringLiteral("job"));

std::string contentOf(std::filesystem::path const& file);

/** Rows as "text|text", each with a line end. */
std::string rowsOf(QString const& ledger, char const* statement);

/** What a ledger says when it cannot be used; empty when it can. */
std::string errorOf(std::function<void()> const& work);
