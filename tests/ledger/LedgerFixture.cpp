#include "tests/ledger/LedgerFixture.h"

#include <QCoreApplication>
#include <QSqlRecord>

#include <fstream>
#include <sstream>

LedgerTest::LedgerTest()
{
    std::string pattern = "/dev/shm/vrel-ledger-XXXXXX"; // where nothing waits for a disk
    m_directory = ::mkdtemp(pattern.data());
    m_ledger = path("ledger.db");
}

std::string LedgerTest::files() const
{
    std::map<std::string, std::string> contents;
    for (auto const& entry : std::filesystem::directory_iterator(m_directory)) {
        contents[entry.path().filename()] = contentOf(entry.path());
    }
    std::string text;
    for (auto const& [name, content] : contents)
        text += name + ':' + content + '\n';
    return text;
}

LedgerBeginning beginning(QString const& serial, QString const& job)
{
    LedgerBeginning result;
    result.serial = serial;
    result.path = QStringLiteral("1-1");
    result.job = job;
    result.station = QStringLiteral("line");
    result.route = QStringLiteral("in-process");
    result.isRecipe = true;
    result.commands = QStringList{QStringLiteral("enumerate"), QStringLiteral("writetoken")};
    return result;
}

QString serve(Ledger& ledger, QString const& serial, QString const& job)
{
    QString const success = QStringLiteral("success");
    QString const service = ledger.begin(beginning(serial, job));
    EXPECT_EQ(ledger.endStep(service, {1, QString(), success, 10, QString()}), QString());
    EXPECT_EQ(ledger.endStep(service, {2, QString(), success, 20, QString()}), QString());
    EXPECT_EQ(ledger.end(service, success, 31, QString()), QString());
    return service;
}

std::string contentOf(std::filesystem::path const& file)
{
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

std::string rowsOf(QString const& ledger, char const* statement)
{
    std::string text;
    LedgerDatabase const database(ledger, LedgerDatabase::Access::Read);
    database.read(QLatin1String(statement), {}, [&text](QSqlQuery const& row) {
        for (int i = 0; i < row.record().count(); ++i)
            text += (i > 0 ? "|" : "") + row.value(i).toString().toStdString();
        text += '\n';
    });
    return text;
}

std::string errorOf(std::function<void()> const& work)
{
    try {
        work();
        return {};
    } catch (LedgerError const& error) {
        return (error.kind() == LedgerError::Refused ? "refused: " : "unavailable: ") +
               error.text().toStdString();
    }
}

int main(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv); // for the database's driver
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
