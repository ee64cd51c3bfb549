#include "commands/support/VrelLogCallback.h"
#include "commands/support/VrelRuxModule.h"
#include "external/LogHandler.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTextCodec>

#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace VrelUtilsCommand;

class LogCallbackTest : public ::testing::Test
{
protected:
    Lines linesOf(unsigned long level, char const* text)
    {
        LogHandler log;
        m_recorder.clear();
        vrelLogCallback(level, text, &log);
        vrelLogCallback(level, text, nullptr);
        return m_recorder.lines();
    }

    LogRecorder m_recorder;
};

TEST_F(LogCallbackTest, MapsLevels)
{
    std::string const levels = "54321055";
    for (unsigned long level = 0; level < levels.size(); ++level)
        EXPECT_EQ(linesOf(level, "a"), Lines{levels[level] + std::string(" a")});
    EXPECT_EQ(linesOf(~0UL, "a"), Lines{"5 a"});
    EXPECT_EQ(linesOf(~(~0UL >> 1U) | 2U, "a"), Lines{"5 a"}) << "its lower half is a level";
}

TEST_F(LogCallbackTest, DropsTransfersAndTakesAnyOtherText)
{
    for (char const* const text : {"RX 12", "TX", "Reading first packet of 9"})
        EXPECT_EQ(linesOf(2, text), Lines()) << text;
    std::string const huge(2 * 1024 * 1024, 'h');
    for (char const* const text :
         {"rx 12", " RX", "Reading first", "", "gr\xC3\xBC\xC3\x9F", "%1 %s\n\t\x1B", huge.c_str()})
        EXPECT_EQ(linesOf(2, text), Lines{std::string("3 ") + text});
    EXPECT_EQ(linesOf(2, nullptr), Lines{"3 "});
    EXPECT_EQ(linesOf(2, "\xFF\xC3"), Lines{"3 \xEF\xBF\xBD\xEF\xBF\xBD"});
}

/** Files are named in UTF-8 in every locale, as a vendor library has their paths, and closed again. */
class RuxModuleTest : public ::testing::Test
{
protected:
    RuxModuleTest() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-15")); }

    ~RuxModuleTest() override
    {
        QTextCodec::setCodecForLocale(m_codec);
        EXPECT_EQ(openFiles(), m_openFiles);
    }

    static int openFiles()
    {
        return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size();
    }

    void write(std::string const& content) const
    {
        int const file = ::open(m_name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, S_IRWXU);
        EXPECT_EQ(::write(file, content.data(), content.size()), static_cast<ssize_t>(content.size()));
        ::close(file);
    }

    std::string version() const { return getRuxModuleVersion(QString::fromStdString(m_name)).toStdString(); }

    QTemporaryDir const m_directory;
    std::string const m_name = (m_directory.path() + QStringLiteral("/mod\u00FCl.bin")).toStdString();
    int const m_openFiles = openFiles();
    QTextCodec* const m_codec = QTextCodec::codecForLocale();
};

TEST_F(RuxModuleTest, VersionIsTheTwoBytesAtOffset130InFileOrder)
{
    std::string const head(130, 'x');
    std::pair<std::string, char const*> const cases[] = {
        {"", "Unknown"},
        {head, "Unknown"},
        {head + '\x02', "Unknown"},
        {head + "\x02\x01", "513"},
        {head + std::string(2, '\0'), "0"},
        {head + "\xFF\xFF", "65535"},
        {head + std::string("\0\x0A\x77", 3), "10"},
    };
    EXPECT_EQ(version(), "Unknown") << "an absent file";
    EXPECT_EQ(getRuxModuleVersion(m_directory.path()), QStringLiteral("Unknown"));
    EXPECT_EQ(getRuxModuleVersion(QString()), QStringLiteral("Unknown"));
    for (auto const& [content, expected] : cases) {
        write(content);
        EXPECT_EQ(version(), expected) << content.size();
    }
}

// The vendor library reads the module after us, from the same pipe.
TEST_F(RuxModuleTest, VersionComesFromAPipeThatKeepsTheModule)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::string const module = std::string(130, 'x') + "\x02\x01rest";
    auto const put = [&](std::string const& part) {
        EXPECT_EQ(::write(ends[1], part.data(), part.size()), static_cast<ssize_t>(part.size()));
    };
    put(module.substr(0, 131));
    auto const writer = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        put(module.substr(131));
    });
    EXPECT_EQ(getRuxModuleVersion(QStringLiteral("/dev/fd/%1").arg(ends[0])), QStringLiteral("513"));
    writer.wait();
    char kept[1000];
    EXPECT_EQ(::read(ends[0], kept, sizeof kept), static_cast<ssize_t>(module.size()));
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(RuxModuleTest, APipeWithoutAWriterHoldsNothingUp)
{
    ASSERT_EQ(::mkfifo(m_name.c_str(), S_IRWXU), 0);
    auto unknown = std::async(std::launch::async, [this] { return version(); });
    EXPECT_EQ(unknown.wait_for(std::chrono::seconds(3)), std::future_status::ready);
    int const writer = ::open(m_name.c_str(), O_WRONLY | O_NONBLOCK); // frees one that waits
    EXPECT_EQ(unknown.get(), "Unknown");
    ::close(writer);
}

} // namespace
