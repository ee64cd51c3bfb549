#include "tests/runs/ToolFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char const* kBothDevices =
    R"([{"path":"1-4.2","vendor":11342,"product":15680,"claimed":true,"serial":"0A1B2C3D"},)"
    R"({"path":"2-1","vendor":11342,"product":15684,"claimed":true,"serial":"5E6F7A8B"}])"
    "\n";
constexpr char const* kBothWithoutSerial =
    R"([{"path":"1-4.2","vendor":11342,"product":15680,"claimed":true,"serial":null},)"
    R"({"path":"2-1","vendor":11342,"product":15684,"claimed":true,"serial":null}])"
    "\n";

class ScanTest : public ToolFixture
{
protected:
    Outcome scan(QStringList const& more, char const* tree = "rig/sysfs") const
    {
        return host(QStringList{QStringLiteral("scan"), QStringLiteral("--sysfs"), path(tree)} + more);
    }

    /** An entry of the tree "usb"; null leaves a file out. */
    void addEntry(char const* name, char const* vendor, char const* product) const
    {
        QByteArray const entry = QByteArray("usb/") + name;
        ASSERT_TRUE(QDir().mkpath(path(entry.constData())));
        if (vendor != nullptr)
            write((entry + "/idVendor").constData(), vendor);
        if (product != nullptr)
            write((entry + "/idProduct").constData(), product);
    }

    /** A downloader that runs this shell script. */
    QStringList downloader(char const* script) const
    {
        QFile::remove(path("downloader"));
        write("downloader", QByteArray("#!/bin/sh\n") + script + '\n');
        QFile::setPermissions(path("downloader"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        return options({"--json", "--serial-from", "exe", "--exe"}) << path("downloader");
    }
};

TEST_F(ScanTest, FindsBothDevicesOfANewRigFromEitherSource)
{
    for (QStringList const& source : {options({"--json"}), options({"--json", "--serial-from", "exe"}),
                                      options({"--json", "--serial-from", "api"})}) {
        QDir(path("rig")).removeRecursively();
        Outcome const outcome = scan(source);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.output.toStdString(), kBothDevices);
        EXPECT_EQ(outcome.log, QByteArray());
    }
    EXPECT_EQ(scan(options({"--exe", "any"})).lines(),
              options({"2 --exe has no effect without --serial-from exe"}));
    EXPECT_EQ(scan({}).output.toStdString(), "PATH   ID         CLAIMED  SERIAL\n"
                                             "1-4.2  2c4e:3d40  yes      0A1B2C3D\n"
                                             "2-1    2c4e:3d44  yes      5E6F7A8B\n");
}

TEST_F(ScanTest, ListsDevicesInOrderAndLeavesOutWhatIsNone)
{
    addEntry("1-4.2", "2c4e\n", "3d40\n");
    addEntry("1-4.2:1.0", "2c4e\n", "3d40\n");
    addEntry("1-4", "1d6b\n", "0104\n");
    addEntry("1-10", "2C4E", "3D48");
    addEntry("1-2", "2c4e\n", "3d41\n");
    addEntry("1-3", "2c4e\n", "3d4a\n");
    addEntry("10-1", "4e2c\n", "3d40\n");
    addEntry("usb1", "1d6b\n", "0002\n");
    addEntry("usb12", "1d6b\n", "0002\n");
    std::pair<char const*, char const*> const malformed[] = {
        {nullptr, "3d40\n"}, {"2c4e\n", nullptr}, {"", "3d40\n"},         {"2c4\n", "3d40\n"},
        {"2c4e0", "3d40\n"}, {"0x2c", "3d40\n"},  {" 2c4e\n", "3d40\n"},  {"2c4g\n", "3d40\n"},
        {"+c4e", "3d40\n"},  {"\n2c4e", "3d40"},  {"2c4e\n\n", "3d40\n"}, {"2c4e\n", "15680\n"},
    };
    QStringList expectedLog;
    for (std::size_t i = 0; i < std::size(malformed); ++i) {
        QString const name = QStringLiteral("3-%1").arg(i + 1, 2, 10, QLatin1Char('0'));
        addEntry(name.toUtf8().constData(), malformed[i].first, malformed[i].second);
        expectedLog
            << QStringLiteral("2 '%1' is left out: it has no readable idVendor and idProduct").arg(name);
    }
    Outcome const outcome = scan(options({"--json"}), "usb");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.toStdString(),
              R"([{"path":"1-10","vendor":11342,"product":15688,"claimed":true,"serial":null},)"
              R"({"path":"1-2","vendor":11342,"product":15681,"claimed":false,"serial":null},)"
              R"({"path":"1-3","vendor":11342,"product":15690,"claimed":false,"serial":null},)"
              R"({"path":"1-4","vendor":7531,"product":260,"claimed":false,"serial":null},)"
              R"({"path":"1-4.2","vendor":11342,"product":15680,"claimed":true,"serial":"0A1B2C3D"},)"
              R"({"path":"10-1","vendor":20012,"product":15680,"claimed":false,"serial":null}])"
              "\n");
    expectedLog << QStringLiteral(
        "2 No serial number for the device at 1-10: the vendor API does not list it");
    EXPECT_EQ(outcome.lines(), expectedLog);
}

TEST_F(ScanTest, NamesAndFilesOfTheTreeMayBeAnything)
{
    QByteArray const names[] = {"\xFF\x1B[31m", "a\nb\"c", "%1%2", "usb", "usb1x", "-", QByteArray(255, 'n')};
    for (QByteArray const& name : names)
        addEntry(name.constData(), "0001", "0002");
    // As bytes, since the text of the first name is another one.
    std::string const odd = path("usb").toStdString() + '/' + names[0].toStdString();
    std::filesystem::create_directory(odd);
    std::ofstream(odd + "/idVendor") << "0001";
    std::ofstream(odd + "/idProduct") << "0002";
    // What is no regular file is not waited for.
    addEntry("pipe", nullptr, "0002");
    ::mkfifo(QFile::encodeName(path("usb/pipe/idVendor")).constData(), 0600);
    addEntry("endless", nullptr, "0002");
    QFile::link(QStringLiteral("/dev/zero"), path("usb/endless/idVendor"));
    addEntry("long", QByteArray(100000, '0').constData(), "0002");
    addEntry("directory/idVendor", nullptr, nullptr);
    QFile::link(path("usb/gone-elsewhere"), path("usb/dangling"));
    write("usb/file", "2c4e");

    Outcome const outcome = scan(options({"--json"}), "usb");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.count("\"path\""), 8) << outcome.output.toStdString();
    EXPECT_EQ(outcome.output.count('\n'), 1);
    EXPECT_TRUE(outcome.output.contains(R"("path":"a\nb\"c")"));
    EXPECT_EQ(outcome.lines().size(), 6) << outcome.log.toStdString();
    QByteArray const table = scan({}, "usb").output;
    EXPECT_EQ(table.count('\n'), 9);
    EXPECT_FALSE(table.contains('\x1B'));
}

TEST_F(ScanTest, WhatMayNotBeReadIsToldWithTheWayOut)
{
    addEntry("1-1", "2c4e\n", "3d40\n");
    write("usb/1-1/busnum", "1\n");
    write("usb/1-1/devnum", "42\n");
    addEntry("1-2", "2c4e\n", "3d40\n");
    addEntry("1-3", "2c4e\n", "3d40\n");
    ASSERT_TRUE(QDir().mkpath(path("dev/001")));
    write("dev/001/042", "");
    QFile::setPermissions(path("dev/001/042"), QFileDevice::ReadOwner | QFileDevice::ReadOther);
    QFile::setPermissions(path("usb/1-3/idProduct"), {});

    // To the superuser nothing is denied.
    bool const isSuperuser = ::geteuid() == 0;
    QStringList const other = options({"--reuid=65534", "--regid=65534", "--clear-groups"});
    QFile::setPermissions(m_directory.path(), QFile::permissions(m_directory.path()) |
                                                  QFileDevice::ReadOther | QFileDevice::ExeOther);
    if (isSuperuser && execute("setpriv", other + options({"test", "-x", VREL_HOST_TOOL})).exitCode != 0)
        GTEST_SKIP() << "no other user may run " VREL_HOST_TOOL;
    auto const scanAsUser = [&](QStringList const& more) {
        QStringList const arguments =
            options({"--log-format", "json", "scan", "--sysfs", "usb", "--dev", "dev"}) + more;
        return isSuperuser ? execute("setpriv", other + options({VREL_HOST_TOOL}) + arguments)
                           : execute(VREL_HOST_TOOL, arguments);
    };
    Outcome const outcome = scanAsUser({});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.toStdString(), "PATH  ID         CLAIMED  SERIAL\n"
                                            "1-1   2c4e:3d40  yes      (no permission)\n"
                                            "1-2   2c4e:3d40  yes      -\n");
    ASSERT_EQ(outcome.lines().size(), 3) << outcome.log.toStdString();
    EXPECT_EQ(outcome.lines().at(0),
              QStringLiteral("2 '1-3' is left out: no permission to read its idVendor and "
                             "idProduct; scan with more rights"));
    EXPECT_EQ(outcome.lines().at(1),
              QStringLiteral(
                  "2 No serial number for the device at 1-1: no permission to use its node 'dev/001/042'; "
                  "install the udev rules that come with the tools and be at the seat or in the group "
                  "plugdev, or scan with more rights"));
    EXPECT_TRUE(outcome.lines().at(2).startsWith(
        QLatin1String("2 No serial number for the device at 1-2: the vendor")));
    EXPECT_TRUE(scanAsUser(options({"--json"}))
                    .output.startsWith(
                        R"([{"path":"1-1","vendor":11342,"product":15680,"claimed":true,"serial":null},)"));
}

TEST_F(ScanTest, AnEmptyOrAbsentTreeIsNoErrorButAnUnreadableOneIs)
{
    QDir().mkpath(path("usb"));
    for (char const* const tree : {"usb", "absent"}) {
        Outcome const outcome = scan(options({"--json"}), tree);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.output, "[]\n");
        EXPECT_EQ(outcome.log, QByteArray());
        EXPECT_EQ(scan({}, tree).output, "No USB devices found\n");
    }
    Outcome const outcome = scan(options({"--json"}), "fw.bin");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.output, QByteArray());
    ASSERT_EQ(outcome.lines().size(), 1);
    EXPECT_TRUE(outcome.lines().first().startsWith(QStringLiteral("1 Cannot read the USB devices in '") +
                                                   path("fw.bin")));
}

TEST_F(ScanTest, BadArgumentsAreRejected)
{
    for (QStringList const& arguments :
         {options({"--serial-from", "usb"}), options({"--sysfs", ""}), options({"--sysfs"}),
          options({"--sn", "1"}), options({"surplus"}), options({"--exe"})}) {
        Outcome const outcome = host(QStringList(QStringLiteral("scan")) + arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(outcome.output, QByteArray());
        EXPECT_EQ(outcome.lines().size(), 1);
    }
}

TEST_F(ScanTest, DevicesAreListedWithoutSerialWhileTheApiIsBusyOrFails)
{
    ASSERT_EQ(scan({}).exitCode, 0);
    m_environment.insert(QStringLiteral("VREL_RIG_DELAY_MS"), QStringLiteral("60000"));
    QProcess holder;
    start(holder, VREL_HOST_TOOL,
          options({"run", R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": 3})", "--sn", kFirst}));
    QByteArray log;
    holder.setReadChannel(QProcess::StandardError);
    while (!log.contains("Starting") && holder.waitForReadyRead(20000))
        log += holder.readAll();
    m_environment.remove(QStringLiteral("VREL_RIG_DELAY_MS"));
    for (char const* const source : {"api", "exe"}) {
        Outcome const outcome = scan(options({"--json", "--serial-from", source}));
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.output.toStdString(), kBothWithoutSerial);
        EXPECT_TRUE(
            outcome.lines().last().startsWith(QLatin1String("2 No serial number for the device at 2-1")));
    }
    holder.kill();
    holder.waitForFinished();

    m_environment.insert(QStringLiteral("VREL_RIG_FAULT"), QStringLiteral("listDevices:7:odd"));
    Outcome const failed = scan(options({"--json"}));
    EXPECT_EQ(failed.output.toStdString(), kBothWithoutSerial);
    EXPECT_EQ(failed.lines().last(),
              QStringLiteral("2 No serial number for the device at 2-1: the vendor API "
                             "cannot list the devices: code 7, 'odd'"));
    EXPECT_EQ(scan(options({"--json", "--serial-from", "exe"})).output.toStdString(), kBothWithoutSerial);
    m_environment.remove(QStringLiteral("VREL_RIG_FAULT"));
    EXPECT_EQ(scan(options({"--json"})).output.toStdString(), kBothDevices);
}

TEST_F(ScanTest, FaultyDownloadersCostNoMoreThanTheSerials)
{
    ASSERT_EQ(scan({}).exitCode, 0);
    EXPECT_EQ(scan(downloader(R"([ "$1$2$3" = getSerial--quiet--uid ] && [ "$4" = 2-1 ] && echo AB12)"))
                  .output.count("\"serial\":\"AB12\""),
              1);
    for (char const* const script : {"exit 3", "kill -SEGV $$", "echo A; echo B"}) {
        Outcome const outcome = scan(downloader(script));
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.output.toStdString(), kBothWithoutSerial) << script;
        EXPECT_TRUE(
            outcome.lines().last().startsWith(QLatin1String("2 No serial number for the device at 2-1")));
    }
    downloader("echo AB12"); // of the working directory, not in PATH
    Outcome const missing = scan(options({"--json", "--serial-from", "exe", "--exe", "downloader"}));
    EXPECT_EQ(missing.output.toStdString(), kBothWithoutSerial);
    EXPECT_EQ(missing.lines().first(),
              QStringLiteral("1 Cannot run the downloader 'downloader': it is not in PATH, where a name "
                             "without a slash is looked up; name it with --exe"));
    EXPECT_TRUE(missing.lines().last().contains(QStringLiteral("is looked up; name it with --exe")));
}

TEST_F(ScanTest, AHangingDownloaderIsKilledAndNoChildIsLeft)
{
    addEntry("1-1", "2c4e\n", "3d42\n");
    QElapsedTimer timer;
    timer.start();
    Outcome const outcome = scan(downloader("sleep 1000 & echo $! > child; echo $$ > pid; wait"), "usb");
    EXPECT_GE(timer.elapsed(), 4900);
    EXPECT_LT(timer.elapsed(), 20000);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.output.contains("\"serial\":null"));
    EXPECT_TRUE(outcome.lines().last().endsWith(QLatin1String("did not answer in time and was ended")));
    for (char const* const file : {"pid", "child"}) {
        auto const pid = static_cast<pid_t>(read(file).trimmed().toLongLong());
        ASSERT_GT(pid, 0);
        EXPECT_EQ(::kill(pid, 0), -1) << file;
    }
}

TEST_F(ScanTest, DownloaderPrintsOneSerialOrSaysWhyNot)
{
    struct Case
    {
        QStringList arguments;
        int exitCode;
        char const* output;
    };
    Case const cases[] = {
        {options({"getSerial", "--quiet", "--uid", "2-1"}), 0, "5E6F7A8B\n"},
        {options({"getSerial", "--uid", "1-4.2", "--quiet"}), 0, "0A1B2C3D\n"},
        {options({"getSerial", "--quiet", "--uid", "9-1"}), 1,
         "error: There is no device at the USB path '9-1'\n"},
        {options({"getSerial", "--quiet"}), 2,
         "error: Missing option '--uid' (ruxFwDownloader --help shows the usage)\n"},
        {options({"getSerial", "--uid", "2-1", "more"}), 2,
         "error: Unexpected argument 'more' (ruxFwDownloader --help shows the usage)\n"},
        {options({"getSerial", "--uid", "2-1", "--sn", "1"}), 2,
         "error: Unknown option 'sn' (ruxFwDownloader --help shows the usage)\n"},
    };
    for (Case const& entry : cases) {
        Outcome const outcome = execute(VREL_DOWNLOADER, entry.arguments);
        EXPECT_EQ(outcome.exitCode, entry.exitCode);
        EXPECT_EQ(outcome.output.toStdString(), entry.output);
        EXPECT_EQ(outcome.log, QByteArray());
    }
}

} // namespace
