#include "tools/ruxFwDownloader/SerialQuery.h"

#include "external/LogHandler.h"
#include "plugin/VrelManager.h"
#include "tools/common/VendorApi.h"

#include <QCommandLineParser>

std::optional<QString> parseSerialQuery(QStringList const& arguments, QString& error)
{
    QCommandLineOption const uid(QStringLiteral("uid"), QString(), QStringLiteral("PATH"));
    QCommandLineParser parser;
    parser.addOption(uid);
    parser.addOption(QCommandLineOption(QStringLiteral("quiet")));
    if (!parser.parse(QStringList(QStringLiteral("getSerial")) + arguments))
        error = parser.errorText();
    else if (!parser.positionalArguments().isEmpty())
        error = QStringLiteral("Unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
    else if (parser.value(uid).isEmpty())
        error = QStringLiteral("Missing option '--uid'");
    else
        return parser.value(uid);
    return std::nullopt;
}

std::optional<QString> querySerial(QString const& path, LogHandler const& log)
{
    VrelManager manager;
    VrelApiManager api = VendorApi::fetch(manager, log);
    if (!api)
        return std::nullopt;
    auto const devices = VendorApi::list(api, log);
    if (!devices)
        return std::nullopt;
    auto const device = devices->find(path);
    if (device == devices->end()) {
        log.logMessage(1, QStringLiteral("There is no device at the USB path '%1'").arg(path));
        return std::nullopt;
    }
    return device->second;
}
