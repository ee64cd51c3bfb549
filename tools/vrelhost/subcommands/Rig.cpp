#include "emulator/Rig.h"
#include "devices/VrelClaimRule.h"
#include "emulator/Text.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/common/CommandLine.h"
#include "tools/common/ToolProcess.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/subcommands/Subcommands.h"

#include <QCommandLineParser>
#include <QFile>

#include <iterator>

namespace {

/** Eight hubs of eight ports on every bus, filled in their order. */
QString usbPath(unsigned index)
{
    constexpr unsigned kPorts = 8;
    return QStringLiteral("%1-%2.%3")
        .arg(index / (kPorts * kPorts) + 1)
        .arg(index / kPorts % kPorts + 1)
        .arg(index % kPorts + 1);
}

VrelRig::DeviceDescription device(unsigned index)
{
    std::vector<std::string> const storages[] = {{"emmc-0", "spi-0"}, {"ufs-0"}};
    QString const serial = QStringLiteral("VREL%1").arg(index + 1, 4, 10, QLatin1Char('0'));
    return {serial.toStdString(), usbPath(index).toStdString(),
            VrelClaimRule::kProductIds[index % std::size(VrelClaimRule::kProductIds)],
            storages[index % std::size(storages)]};
}

std::string bytes(QString const& path)
{
    return QFile::encodeName(path).toStdString();
}

/** The rig's directory, as the first argument names it. */
QString directoryOf(Invocation const& call)
{
    QString const directory = call.arguments.constFirst();
    if (directory.isEmpty())
        throw Refusal(QStringLiteral("DIR must not be empty"));
    return directory;
}

/** Yields the exit code; why the work cannot be done is logged, with the way out. */
template <typename Work>
int carryOutOnRig(Invocation const& call, QString const& problem, QString const& remedy, Work const& work)
{
    try {
        work();
        return ExitSuccess;
    } catch (VrelRig::RigError const& error) {
        call.console.log().logMessage(
            kErrorLevel, QStringLiteral("%1: %2; %3").arg(problem, QString::fromUtf8(error.what()), remedy));
        return ExitFailure;
    }
}

QLatin1String const kDevicesOption("devices");
constexpr int kMostDevices = 1000;

QList<QCommandLineOption> newRigOptions()
{
    QString const help = QStringLiteral("Number of devices, 1 to %1. Required.").arg(kMostDevices);
    return {option(kDevicesOption, help.toLatin1().constData(), "N")};
}

/** Device number N is the same in every rig. */
int createRig(Invocation const& call)
{
    QString const directory = directoryOf(call);
    bool isNumber = false;
    int const count = call.options.value(kDevicesOption).toInt(&isNumber);
    if (!isNumber || count < 1 || count > kMostDevices)
        throw Refusal(QStringLiteral("--devices must be a number from 1 to %1").arg(kMostDevices));
    std::vector<VrelRig::DeviceDescription> devices;
    devices.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        devices.push_back(device(static_cast<unsigned>(i)));
    return carryOutOnRig(call, QStringLiteral("Cannot make the rig in '%1'").arg(directory),
                         QStringLiteral("name another directory"),
                         [&] { VrelRig::createRig(bytes(directory), devices); });
}

int plugDevice(Invocation const& call)
{
    QString const directory = directoryOf(call);
    QString const& serial = call.arguments.at(1);
    return carryOutOnRig(call, QStringLiteral("Cannot plug in '%1'").arg(serial),
                         QStringLiteral("unplugged devices are in '%1/unplugged'").arg(directory),
                         [&] { VrelRig::plugDevice(bytes(directory), serial.toStdString()); });
}

int unplugDevice(Invocation const& call)
{
    QString const directory = directoryOf(call);
    QString const& serial = call.arguments.at(1);
    return carryOutOnRig(call, QStringLiteral("Cannot unplug '%1'").arg(serial),
                         QStringLiteral("plugged-in devices are in '%1/devices'").arg(directory),
                         [&] { VrelRig::unplugDevice(bytes(directory), serial.toStdString()); });
}

int checkRig(Invocation const& call)
{
    bool const isNamed = !call.arguments.isEmpty();
    std::string const directory = isNamed ? bytes(directoryOf(call)) : std::string();
    std::string found;
    int const exitCode = carryOutOnRig(
        call, QStringLiteral("The rig cannot be used"),
        isNamed ? QStringLiteral("name another one") : QStringLiteral("set VREL_RIG to another one"),
        [&] { found = VrelRig::checkRig(isNamed ? directory : VrelRig::configuredRoot()); });
    return exitCode == ExitSuccess ? call.console.print(QByteArray(found.c_str()) + '\n') : exitCode;
}

constexpr Arguments::Meaning kDirMeaning = {"DIR", "The rig's directory."};
constexpr Arguments kDir = {"DIR", {kDirMeaning}};
constexpr Arguments kAnyDir = {"[DIR]", {kDirMeaning}};
constexpr Arguments kDirAndSerial = {"DIR SERIAL", {kDirMeaning, {"SERIAL", "The device's serial number."}}};

} // namespace

Subcommands::Rows Subcommands::rig()
{
    return {
        {"rig create", kDir, newRigOptions, createRig,
         "Makes a rig of emulated devices in a new or empty directory.", "success", "the rig cannot be made",
         "vrelhost rig create bench --devices 24"},
        {"rig unplug", kDirAndSerial, nullptr, unplugDevice,
         "Unplugs a device of a rig, also while the rig is in use.", "success",
         "the device is already unplugged, or cannot be unplugged", "vrelhost rig unplug bench VREL0001"},
        {"rig plug", kDirAndSerial, nullptr, plugDevice,
         "Plugs in a device of a rig that was unplugged, also while the rig is in use.", "success",
         "the device is already plugged in, or cannot be plugged in", "vrelhost rig plug bench VREL0001"},
        {"rig check", kAnyDir, nullptr, checkRig,
         "Checks whether a rig can be used or made; without DIR, the rig that the emulator would use.",
         "it can be used or made", "it cannot; the log gives the reason", "vrelhost rig check bench"},
    };
}
