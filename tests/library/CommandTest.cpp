#include "commands/VrelCommand.h"
#include "commands/VrelFlashUtils.h"
#include "commands/VrelSetDeviceLifecycleStage.h"
#include "plugin/VrelManager.h"
#include "tests/support/ArgumentCollector.h"
#include "tests/support/CommandFile.h"
#include "tests/support/FakeVendor.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Request.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <algorithm>
#include <climits>
#include <functional>
#include <memory>
#include <regex>
#include <set>

namespace {

using VrelUtilsCommand::VrelCommand;

/** Also of the command that is not registered. */
VrelCommand::CommandFactory& factoryOf(std::string const& name)
{
    using VrelUtilsCommand::VrelSetDeviceLifecycleStage;
    static auto const s_factories = [] {
        std::map<QString, std::unique_ptr<VrelCommand::CommandFactory>> factories;
        for (auto const& [id, factory] : VrelCommand::initCommandFactories())
            factories.emplace(id, factory);
        factories.emplace(QLatin1String(VrelSetDeviceLifecycleStage::kCommandId),
                          std::make_unique<VrelCommand::CommandFactoryTpl<VrelSetDeviceLifecycleStage>>());
        return factories;
    }();
    return *s_factories.at(QString::fromStdString(name));
}

std::string usageOf(CommandFile const& file)
{
    std::string usage;
    for (std::string const& line : linesOf(file.description, "usage"))
        usage += '\t' + line + '\n';
    return usage;
}

JsonObject withoutCommand(JsonObject const& request)
{
    JsonObject parameters;
    for (auto const& [key, value] : request) {
        if (key != QLatin1String("command"))
            parameters.setValue(key, value);
    }
    return parameters;
}

bool isError(std::string const& line)
{
    return line.rfind("1 ", 0) == 0;
}

class CommandTest : public ::testing::TestWithParam<CommandFile>
{
protected:
    CommandTest()
    {
        writeInputs(m_directory.path());
        QDir::setCurrent(m_directory.path());
    }
    ~CommandTest() override { QDir::setCurrent(QDir::rootPath()); }

    VrelCommand::CommandFactory& factory() const { return factoryOf(GetParam().name); }

    struct Run
    {
        bool isSuccess;
        Lines lines;
        std::vector<std::string> calls;
    };

    Run run(Rows const& rows, std::function<void(FakeVendor&)> const& lie)
    {
        FakeVendor vendor;
        vendor.tellsCalls = true;
        lie(vendor);
        if (rows.count("vendor") != 0)
            vendor.obey(rows.at("vendor"));
        VrelManager manager;
        std::unique_ptr<VrelCommand> const command(factory().allocateCommand());
        EXPECT_TRUE(command->parseArguments(json(rows.at("request")), m_log));
        m_recorder.clear();
        char const* const serial = rows.count("serial") != 0 ? rows.at("serial").c_str() : kSerial;
        bool const isSuccess = command->run(manager.fetchApi(), QString::fromUtf8(serial), m_log);
        return {isSuccess, asExpected(m_recorder.lines(), linesOf(rows, "log")), vendor.calls};
    }

    QTemporaryDir m_directory;
    LogHandler m_log;
    LogRecorder m_recorder;
};

TEST_P(CommandTest, DescribesItself)
{
    EXPECT_EQ(text(factory().getParameterTypes()), GetParam().description.at("types"));
    EXPECT_EQ(factory().getUsage().toStdString(), usageOf(GetParam()));
}

/** One object takes all requests: those that it refuses must leave what it holds. */
TEST_P(CommandTest, JudgesStoresAndCopiesRequests)
{
    std::unique_ptr<VrelCommand> const command(factory().allocateCommand());
    EXPECT_EQ(command->getCommandId().toStdString(), GetParam().name);
    EXPECT_TRUE(command->getParameters().empty());
    JsonObject held;
    for (Rows const& rows : GetParam().requests) {
        JsonObject const request = json(rows.at("request"));
        SCOPED_TRACE(rows.at("request"));
        m_recorder.clear();
        bool const isAccepted = command->parseArguments(request, m_log);
        EXPECT_EQ(m_recorder.lines(), linesOf(rows, "rejected"));
        EXPECT_EQ(isAccepted, rows.count("rejected") == 0);
        if (isAccepted)
            held = rows.count("stored") != 0 ? json(rows.at("stored")) : withoutCommand(request);
        EXPECT_EQ(text(command->getParameters()), text(held));

        if (rows.count("copy") != 0) {
            QString error;
            JsonObject const copy = GetParam().isRegistered() ? VrelFlashUtils::getParameters(request, error)
                                                              : factory().getParameters(request, error);
            EXPECT_EQ(error.isEmpty() ? text(copy) : error.toStdString(), rows.at("copy"));
            EXPECT_TRUE(error.isEmpty() || copy.empty());
        }
        if (rows.count("arguments") != 0) {
            VrelFlashUtils utils(request);
            EXPECT_EQ(ArgumentCollector::of(utils, QString::fromUtf8(kSerial)),
                      wordsOf(rows.at("arguments")));
        }
    }
}

TEST_P(CommandTest, RunsAsItsLogSays)
{
    for (Rows const& rows : GetParam().requests) {
        if (rows.count("log") == 0)
            continue;
        SCOPED_TRACE(rows.at("request"));
        Lines const expected = linesOf(rows, "log");
        bool const isSuccess = std::none_of(expected.begin(), expected.end(), isError);
        Run const seen = run(rows, [isSuccess](FakeVendor& vendor) {
            if (isSuccess)
                vendor.errorText = std::string(kVrelErrorTextSize, 'e'); // of a success it is no error
        });
        EXPECT_EQ(seen.lines, expected);
        EXPECT_EQ(seen.isSuccess, isSuccess);
        EXPECT_EQ(seen.calls.size(), 1U);
    }
}

TEST_P(CommandTest, FailsWithTheVendorsTextOnEveryResultButZero)
{
    Rows rows = GetParam().requests.front();
    rows.erase("vendor");
    std::string const replacement = "The vendor API reported a failure without an error text";
    std::pair<std::optional<std::string>, std::string> const texts[] = {
        {std::string("no such \xC3\xA4\0hidden", 17), "no such \xC3\xA4"},
        {std::string(kVrelErrorTextSize, 'e'), std::string(kVrelErrorTextSize, 'e')},
        {std::nullopt, replacement},
        {std::string("\0unseen", 7), replacement},
    };
    Lines const expected = linesOf(rows, "log");
    for (int const result : {INT_MIN, -256, -2, 1, 256, 65536, INT_MAX}) {
        for (auto const& [text, shown] : texts) {
            Run const seen = run(rows, [&, &text = text](FakeVendor& vendor) {
                vendor.result = result;
                vendor.errorText = text;
            });
            EXPECT_FALSE(seen.isSuccess) << result;
            ASSERT_EQ(seen.calls.size(), 1U);
            // As in a success up to the call; a call without a callback is not in the log.
            auto const call = std::find(seen.lines.begin(), seen.lines.end(), "3 " + seen.calls.front());
            auto const end = call == seen.lines.end() ? seen.lines.begin() : call + 1;
            EXPECT_TRUE(std::equal(seen.lines.begin(), end, expected.begin()));
            EXPECT_TRUE(std::all_of(end, seen.lines.end(), isError)) << result;
            EXPECT_EQ(seen.lines.back(), "1 " + shown);
        }
    }
}

TEST_P(CommandTest, RunsNothingWithoutParametersOrAnApi)
{
    FakeVendor const vendor;
    VrelManager manager;
    std::unique_ptr<VrelCommand> const command(factory().allocateCommand());
    EXPECT_FALSE(command->run(manager.fetchApi(), QString::fromUtf8(kSerial), m_log));
    EXPECT_EQ(m_recorder.lines(), Lines());
    ASSERT_TRUE(command->parseArguments(json(GetParam().requests.front().at("request")), m_log));
    EXPECT_FALSE(command->run(VrelApiManager(), QString::fromUtf8(kSerial), m_log));
    EXPECT_EQ(m_recorder.lines(), GetParam().name == "enumerate" ? Lines{"1 API already in use"} : Lines());
    EXPECT_TRUE(vendor.calls.empty());
}

INSTANTIATE_TEST_SUITE_P(Of, CommandTest, ::testing::ValuesIn(commandFiles()),
                         [](auto const& file) { return file.param.name; });

TEST(CommandFilesTest, TheRegistryHasACommandForEachAndNoOther)
{
    std::string const usages = VrelFlashUtils::getUsages().toStdString();
    std::string expected;
    std::set<std::string> names;
    for (CommandFile const& file : commandFiles()) {
        if (!file.isRegistered())
            continue;
        names.insert(file.name);
        EXPECT_NE(usages.find(usageOf(file)), std::string::npos)
            << "register " << file.name << " in commands/VrelCommandFactories.cpp, or mend its usage";
        expected += (expected.empty() ? "" : "\n") + usageOf(file);
    }
    std::regex const name("\n\t([^ \t]+)\t*\n");
    std::string const lines = '\n' + usages;
    for (std::sregex_iterator found(lines.begin(), lines.end(), name), end; found != end; ++found) {
        if (names.count((*found)[1]) == 0)
            GTEST_FAIL() << "add tests/commands/" << (*found)[1] << ".txt, with 'arguments'";
    }
    EXPECT_EQ(usages, expected);
}

} // namespace
