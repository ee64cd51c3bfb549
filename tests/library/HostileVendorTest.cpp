#include "tests/support/CommandRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

JsonObject commandRequest(QString const& name)
{
    JsonObject request;
    request.setValue(QStringLiteral("command"), name);
    return request;
}

/** A request of every registered command with all its parameters, made from what the library says of them. */
std::vector<JsonObject> everyRequest()
{
    std::vector<JsonObject> requests;
    for (QString const& line : VrelFlashUtils::getUsages().split(QLatin1Char('\n'))) {
        QString const name = line.mid(1).trimmed();
        if (name.isEmpty() || name.startsWith(QLatin1String("--")))
            continue;
        requests.push_back(commandRequest(name));
        for (auto const& [key, type] : VrelFlashUtils::getParameterTypes(requests.back())) {
            if (type.type() == QVariant::StringList)
                requests.back().setValue(key, type.toStringList().constFirst());
            else if (type.toString().contains(QLatin1String("uint")))
                requests.back().setValue(key, 1U);
            else
                requests.back().setValue(key, "no/such/file");
        }
    }
    return requests;
}

/** A vendor library that keeps to nothing of its contract but the calling convention. */
class HostileVendorTest : public ::testing::Test, protected CommandRun
{
protected:
    Lines run(JsonObject const& request, bool expected)
    {
        Lines lines = CommandRun::run(request, expected);
        EXPECT_EQ(m_api.calls.size(), 1U) << "calls of the vendor API";
        return lines;
    }
};

bool isError(std::string const& line)
{
    return line.rfind("1 ", 0) == 0;
}

bool claimsSuccess(std::string const& line)
{
    return line.find("procedure success") != std::string::npos;
}

TEST_F(HostileVendorTest, EveryResultButZeroIsAFailure)
{
    std::vector<JsonObject> const requests = everyRequest();
    ASSERT_EQ(requests.size(), 16U);
    for (int const result : {INT_MIN, INT_MIN + 1, -1, 1, 256, 65536, INT_MAX}) {
        m_api.result = result;
        for (JsonObject const& request : requests) {
            Lines const lines = run(request, false);
            EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), isError)) << m_api.calls.front() << result;
            EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), claimsSuccess)) << m_api.calls.front();
        }
        std::map<QString, QString> devices;
        EXPECT_EQ(m_manager.fetchApi().getDeviceList(devices), result);
    }
}

TEST_F(HostileVendorTest, AnErrorTextOfASuccessIsNoError)
{
    m_api.errorText = QByteArray(kVrelErrorTextSize, 'e');
    for (JsonObject const& request : everyRequest()) {
        Lines const lines = run(request, true);
        EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), isError)) << m_api.calls.front();
    }
}

TEST_F(HostileVendorTest, MessagesMayHoldAnythingAndBeOfAnySize)
{
    std::string const huge(2 * 1024 * 1024, 'h');
    m_api.messages = {{2, nullptr}, {3, huge.c_str()}, {ULONG_MAX, "\xFF\xC3"}, {0, "%1 %s\n\t\x1B"}};
    Lines const expected{"3 ", "2 " + huge, "5 \xEF\xBF\xBD\xEF\xBF\xBD", "5 %1 %s\n\t\x1B"};
    for (JsonObject const& request : everyRequest()) {
        Lines const lines = run(request, true);
        bool const takesMessages = m_api.calls.front() != "listDevices()";
        EXPECT_EQ(std::search(lines.begin(), lines.end(), expected.begin(), expected.end()) != lines.end(),
                  takesMessages)
            << m_api.calls.front();
    }
}

TEST_F(HostileVendorTest, MessageAfterMessageIsHandedOnInOrder)
{
    constexpr std::size_t kRounds = 50000;
    for (std::size_t i = 0; i < kRounds; ++i) {
        m_api.messages.emplace_back(2, i % 2 == 0 ? "even" : "odd");
        m_api.messages.emplace_back(2, "TX");
    }
    JsonObject request = commandRequest(QStringLiteral("startover"));
    request.setValue(QStringLiteral("flags"), 0U);
    Lines const lines = run(request, true);
    auto line = std::find(lines.begin(), lines.end(), "3 even");
    ASSERT_GE(lines.end() - line, static_cast<std::ptrdiff_t>(kRounds));
    for (std::size_t i = 0; i < kRounds; ++i)
        ASSERT_EQ(*line++, i % 2 == 0 ? "3 even" : "3 odd") << i;
    EXPECT_EQ(*line, "3 STARTOVER procedure success");
}

TEST_F(HostileVendorTest, CountsAndLengthsAtTheEndsOfTheirRange)
{
    m_api.addDevice("\xFF\x80 ok", 1, {4, 2});
    std::pair<int, char const*> const portCounts[] = {{INT_MIN, "1"}, {INT_MAX, "1-4.2.0.0.0.0.0"}};
    for (auto const& [portCount, location] : portCounts) {
        m_api.devices.locations[0].portCount = portCount;
        std::map<QString, QString> devices;
        m_manager.fetchApi().getDeviceList(devices);
        ASSERT_EQ(devices.size(), 1U);
        EXPECT_EQ(devices.begin()->first, QLatin1String(location));
        EXPECT_EQ(devices.begin()->second.toStdString(), "\xEF\xBF\xBD\xEF\xBF\xBD ok");
    }
    for (std::uint8_t i = 1; i < 24; ++i)
        m_api.addDevice("S", i, {1, i});
    std::pair<std::uint32_t, std::size_t> const counts[] = {{INT_MAX, 24}, {0x80000000U, 0}};
    for (auto const& [count, listed] : counts) {
        m_api.devices.count = count;
        std::map<QString, QString> devices;
        m_manager.fetchApi().getDeviceList(devices);
        EXPECT_EQ(devices.size(), listed);
    }

    std::memset(m_api.version.versionText, '\xFF', sizeof m_api.version.versionText);
    m_api.version.versionText[1] = '\0';
    QString const whole = QStringLiteral("\u00FF") + QChar(0) + QString(254, QChar(0xFF));
    std::pair<int, QString> const lengths[] = {
        {INT_MIN, QString()}, {-2, QString()}, {-1, whole.left(1)}, {3, whole.left(3)}, {INT_MAX, whole}};
    for (auto const& [length, text] : lengths) {
        m_api.version.textLength = length;
        EXPECT_EQ(VrelManager::getVersion(), QStringLiteral("1.0.0.0 (API: ") + text + QLatin1Char(')'));
    }
}

} // namespace
