#include "tools/vrelhost/RigCommand.h"

#include "devices/VrelClaimRule.h"
#include "emulator/RigError.h"
#include "emulator/RigTemplate.h"
#include "external/LogHandler.h"

#include <QFile>

#include <iterator>

namespace {

using VrelRig::StorageKind;

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
    std::vector<VrelRig::StorageDescription> const storages[] = {
        {{StorageKind::emmc, 0}, {StorageKind::spi, 0}}, {{StorageKind::ufs, 0}}};
    QString const serial = QStringLiteral("VREL%1").arg(index + 1, 4, 10, QLatin1Char('0'));
    return {serial.toStdString(), usbPath(index).toStdString(),
            VrelClaimRule::kProductIds[index % std::size(VrelClaimRule::kProductIds)],
            storages[index % std::size(storages)]};
}

} // namespace

bool RigCommand::create(QString const& directory, int count, LogHandler const& log)
{
    std::vector<VrelRig::DeviceDescription> devices;
    devices.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        devices.push_back(device(static_cast<unsigned>(i)));
    try {
        VrelRig::RigTemplate(std::move(devices)).make(QFile::encodeName(directory).toStdString());
        return true;
    } catch (VrelRig::RigError const& error) {
        log.logMessage(1, QStringLiteral("Cannot make the rig in '%1': %2; name another directory")
                              .arg(directory, QString::fromUtf8(error.what())));
        return false;
    }
}
