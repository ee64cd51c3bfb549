#include "commands/VrelEnumerate.h"

#include "plugin/VrelErrorText.h"

namespace VrelUtilsCommand {

QString VrelEnumerate::getUsage()
{
    return QStringLiteral("\tenumerate\t\n");
}

bool VrelEnumerate::carryOut(VrelApiManager const& api, QString const& /*serial*/, LogHandler& log) const
{
    std::map<QString, QString> devices;
    QString error;
    int const result = VrelApiManager(api).getDeviceList(devices, error);
    if (result == -1) {
        log.logMessage(kErrorLevel, "API already in use");
        return false;
    }
    if (result != 0) {
        log.logMessage(kErrorLevel, QStringLiteral("Command enumerate failed with code 0x%1")
                                        .arg(static_cast<quint32>(result), 8, 16, QLatin1Char('0')));
        log.logMessage(kErrorLevel, VrelErrorText::orReplacement(error));
        return false;
    }
    for (auto const& [location, serial] : devices)
        log.logMessage(kProgressLevel, QStringLiteral("\"%1\" : \"%2\"").arg(location, serial));
    return true;
}

} // namespace VrelUtilsCommand
