#include "commands/support/VrelLogCallback.h"
#include "commands/support/VrelRuxModule.h"
#include "external/LogHandler.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTextCodec>

#include <fstream>
#include <stdexcept>
#include <sys/stat.h>

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

TEST_F(LogCallbackTest, ThrowsNothingThroughTheVendorsFrames)
{
    LogSink const previous = setLogSink([](LogLine const& /*line*/) { throw std::runtime_error("full"); });
    LogHandler log;
    EXPECT_NO_THROW(vrelLogCallback(2, "a", &log));
    setLogSink(previous);
}

/** Of files that are named in UTF-8 in every locale, as a vendor library has their paths, and closed again.
 */
TEST(RuxModuleTest, VersionIsTheTwoBytesAtOffset130InFileOrder)
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
    auto const countOpenFiles = [] {
        return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size();
    };
    int const openFiles = countOpenFiles();
    QTextCodec* const codec = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-15"));
    QTemporaryDir const directory;
    QString const name = directory.path() + QStringLiteral("/mod\u00FCl.bin");
    QString const pipe = directory.path() + QStringLiteral("/pipe");
    ASSERT_EQ(::mkfifo(pipe.toUtf8().constData(), 0600), 0);
    for (QString const& absent : {name, directory.path(), QString(), pipe, QStringLiteral("/dev/zero")})
        EXPECT_EQ(getRuxModuleVersion(absent), QStringLiteral("Unknown"));
    for (auto const& [content, expected] : cases) {
        std::ofstream(name.toStdString(), std::ios::binary) << content;
        EXPECT_EQ(getRuxModuleVersion(name).toStdString(), expected) << content.size();
    }
    QTextCodec::setCodecForLocale(codec);
    EXPECT_EQ(countOpenFiles(), openFiles);
}

} // namespace
