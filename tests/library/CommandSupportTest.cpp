#include "commands/support/VrelDeviceType.h"
#include "commands/support/VrelLogCallback.h"
#include "commands/support/VrelRuxModule.h"
#include "external/JsonObject.h"
#include "external/LogHandler.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <thread>
#include <unistd.h>

namespace {

using namespace VrelUtilsCommand;

TEST(LogCallbackTest, MapsLevelsAndDropsTransfers)
{
    LogRecorder recorder;
    LogHandler log;
    struct Case
    {
        unsigned long level;
        char const* text;
        Lines expected;
    };
    Case const cases[] = {
        {0, "a", {"5 a"}},         {1, "a", {"4 a"}},     {2, "a", {"3 a"}},
        {3, "a", {"2 a"}},         {4, "a", {"1 a"}},     {5, "a", {"0 a"}},
        {6, "a", {"5 a"}},         {1000, "a", {"5 a"}},  {~0UL, "a", {"5 a"}},
        {2, "RX 12", {}},          {4, "TX", {}},         {2, "Reading first packet of 9", {}},
        {2, "rx 12", {"3 rx 12"}}, {2, " RX", {"3  RX"}}, {2, "Reading first", {"3 Reading first"}},
        {2, "", {"3 "}},           {2, nullptr, {"3 "}},  {2, "gr\xC3\xBC\xC3\x9F", {"3 gr\xC3\xBC\xC3\x9F"}},
    };
    for (Case const& entry : cases) {
        recorder.clear();
        vrelLogCallback(entry.level, entry.text, &log);
        EXPECT_EQ(recorder.lines(), entry.expected) << entry.level;
        vrelLogCallback(entry.level, entry.text, nullptr);
        EXPECT_EQ(recorder.lines(), entry.expected);
    }
}

TEST(RuxModuleTest, VersionIsTheTwoBytesAtOffset130InFileOrder)
{
    QTemporaryDir const directory;
    QString const path = directory.filePath(QStringLiteral("mod\u00FCl.bin"));
    struct Case
    {
        int size;
        QByteArray version;
        char const* expected;
    };
    Case const cases[] = {
        {0, "", "Unknown"},
        {130, "", "Unknown"},
        {130, QByteArray("\x02", 1), "Unknown"},
        {130, QByteArray("\x02\x01", 2), "513"},
        {130, QByteArray("\x00\x00", 2), "0"},
        {130, QByteArray("\xFF\xFF", 2), "65535"},
        {130, QByteArray("\x00\x0A\x77", 3), "10"},
    };
    for (Case const& entry : cases) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(entry.size, 'x') + entry.version);
        file.close();
        EXPECT_EQ(getRuxModuleVersion(path).toStdString(), entry.expected)
            << entry.version.toHex().toStdString();
    }
    EXPECT_EQ(getRuxModuleVersion(directory.filePath(QStringLiteral("absent"))), QStringLiteral("Unknown"));
    EXPECT_EQ(getRuxModuleVersion(directory.path()), QStringLiteral("Unknown"));
    EXPECT_EQ(getRuxModuleVersion(QString()), QStringLiteral("Unknown"));
}

// The vendor library reads the module after us, from the same pipe.
TEST(RuxModuleTest, VersionComesFromAPipeThatKeepsTheModule)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::string const module = std::string(130, 'x') + "\x02\x01rest";
    auto const write = [&](std::string const& part) {
        EXPECT_EQ(::write(ends[1], part.data(), part.size()), static_cast<ssize_t>(part.size()));
    };
    write(module.substr(0, 131));
    std::thread writer([&] {
        QThread::msleep(50);
        write(module.substr(131));
        ::close(ends[1]);
    });
    QString const path = QStringLiteral("/dev/fd/%1").arg(ends[0]);
    EXPECT_EQ(getRuxModuleVersion(path), QStringLiteral("513"));
    writer.join();
    char kept[1000];
    EXPECT_EQ(::read(ends[0], kept, sizeof kept), static_cast<ssize_t>(module.size()));
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(getRuxModuleVersion(path), QStringLiteral("Unknown"));
    EXPECT_LT(timer.elapsed(), 1000) << "a pipe without a writer was waited for";
    ::close(ends[0]);
}

TEST(DeviceTypeTest, NamesAndCodes)
{
    JsonObject object;
    QString const key = QStringLiteral("device");
    QString name;
    std::pair<int, char const*> const codes[] = {{1, "spi"}, {2, "emmc"}, {3, "ufs"}, {16, "ufs_hpb"}};
    for (auto const& [code, expected] : codes) {
        EXPECT_TRUE(
            object.setValue<DeviceType>(key, getDeviceTypeToStringMap(), static_cast<DeviceType>(code)));
        EXPECT_EQ(object.getString(key, name), 0);
        EXPECT_EQ(name.toStdString(), expected);
        EXPECT_EQ(static_cast<int>(getStringToDeviceTypeMap().at(name)), code);
    }
    EXPECT_FALSE(object.setValue<DeviceType>(key, getDeviceTypeToStringMap(), static_cast<DeviceType>(4)));
    EXPECT_EQ(object.getString(key, name), 0);
    EXPECT_EQ(name, QStringLiteral("ufs_hpb"));
    EXPECT_EQ(getStringToDeviceTypeMap().count(QStringLiteral("UFS")), 0U);
}

} // namespace
