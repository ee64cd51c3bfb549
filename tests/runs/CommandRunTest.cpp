#include "tests/runs/ToolFixture.h"
#include "tests/support/CommandFile.h"

#include <algorithm>

namespace {

QString request(char const* json)
{
    return QString::fromUtf8(json);
}

/** A command's requests by both routes, on a vendor library that does as it is told. */
class CommandRunTest : public ToolFixture, public ::testing::WithParamInterface<CommandFile>
{
};

TEST_P(CommandRunTest, IsTheSameByBothRoutes)
{
    m_environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(VREL_OTHER_API_DIR));
    for (Rows const& rows : GetParam().requests) {
        if (rows.count("log") == 0 || rows.count("serial") != 0)
            continue;
        SCOPED_TRACE(rows.at("request"));
        m_environment.remove(QStringLiteral("FAKE_VENDOR"));
        if (rows.count("vendor") != 0)
            m_environment.insert(QStringLiteral("FAKE_VENDOR"), request(rows.at("vendor").c_str()));
        Lines expected = linesOf(rows, "log");
        bool const isFailure = expected.back().rfind("1 ", 0) == 0;
        for (QStringList const& route : {QStringList(), options({"--exe", VREL_DOWNLOADER})}) {
            if (isFailure && !route.isEmpty())
                expected.emplace_back("2 Process ended with exit code 1");
            Outcome const outcome = runRequest(request(rows.at("request").c_str()), route);
            Lines lines;
            for (QString const& line : outcome.lines())
                lines.push_back(line.toStdString());
            EXPECT_EQ(asExpected(lines, expected), expected) << outcome.log.toStdString();
            EXPECT_EQ(outcome.exitCode, isFailure ? 1 : 0);
            EXPECT_EQ(outcome.output, QByteArray());
        }
    }
}

std::vector<CommandFile> registeredCommands()
{
    std::vector<CommandFile> files = commandFiles();
    files.erase(
        std::remove_if(files.begin(), files.end(), [](auto const& file) { return !file.isRegistered(); }),
        files.end());
    return files;
}

INSTANTIATE_TEST_SUITE_P(Of, CommandRunTest, ::testing::ValuesIn(registeredCommands()),
                         [](auto const& file) { return file.param.name; });

} // namespace
