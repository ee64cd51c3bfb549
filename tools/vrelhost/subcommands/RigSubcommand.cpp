#include "tools/vrelhost/subcommands/RigSubcommand.h"

#include "devices/VrelClaimRule.h"
#include "emulator/Rig.h"
#include "emulator/Text.h"
#include "external/LogHandler.h"
#include "framework/LogSink.h"

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

/** @return whether the work was done; else its error was logged */
template <typename Work>
bool isDone(LogHandler const& log, QString const& problem, QString const& remedy, Work const& work)
{
    try {
        work();
        return true;
    } catch (VrelRig::RigError const& error) {
        log.logMessage(kErrorLevel,
                       QStringLiteral("%1: %2; %3").arg(problem, QString::fromUtf8(error.what()), remedy));
        return false;
    }
}

} // namespace

bool RigSubcommand::create(QString const& directory, int count, LogHandler const& log)
{
    std::vector<VrelRig::DeviceDescription> devices;
    devices.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        devices.push_back(device(static_cast<unsigned>(i)));
    return isDone(log, QStringLiteral("Cannot make the rig in '%1'").arg(directory),
                  QStringLiteral("name another directory"),
                  [&] { VrelRig::createRig(bytes(directory), devices); });
}

bool RigSubcommand::plug(QString const& directory, QString const& serial, LogHandler const& log)
{
    return isDone(log, QStringLiteral("Cannot plug in '%1'").arg(serial),
                  QStringLiteral("what is unplugged lies in '%1/unplugged'").arg(directory),
                  [&] { VrelRig::plugDevice(bytes(directory), serial.toStdString()); });
}

bool RigSubcommand::unplug(QString const& directory, QString const& serial, LogHandler const& log)
{
    return isDone(log, QStringLiteral("Cannot unplug '%1'").arg(serial),
                  QStringLiteral("what is plugged in lies in '%1/devices'").arg(directory),
                  [&] { VrelRig::unplugDevice(bytes(directory), serial.toStdString()); });
}

std::optional<QString> RigSubcommand::check(std::optional<QString> const& directory, LogHandler const& log)
{
    std::string found;
    bool const isUsable =
        isDone(log, QStringLiteral("The rig cannot be taken"),
               directory ? QStringLiteral("name another one") : QStringLiteral("VREL_RIG names another one"),
               [&] { found = VrelRig::checkRig(directory ? bytes(*directory) : VrelRig::configuredRoot()); });
    return isUsable ? std::make_optional(QString::fromUtf8(found.c_str())) : std::nullopt;
}
