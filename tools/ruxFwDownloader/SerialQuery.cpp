#include "tools/ruxFwDownloader/SerialQuery.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "plugin/VrelManager.h"
#include "tools/common/CommandLine.h"
#include "tools/common/VendorApi.h"

#include <QCommandLineParser>

namespace {

QString const kUid = QStringLiteral("uid");

} // namespace

QList<QCommandLineOption> serialQueryOptions()
{
    return {
        {kUid, QStringLiteral("The device at this USB path, such as 1-4.2."), QStringLiteral("PATH")},
        {QStringLiteral("quiet"), QStringLiteral("Show nothing else, which is so in any case.")},
    };
}

std::optional<QString> parseSerialQuery(QStringList const& arguments, QString& error)
{
    QCommandLineParser parser;
    parser.addOptions(serialQueryOptions());
    if (!parser.parse(QStringList(QStringLiteral("getSerial")) + arguments))
        error = parserFault(parser);
    else if (!parser.positionalArguments().isEmpty())
        error = QStringLiteral("Unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
    else if (parser.value(kUid).isEmpty())
        error = QStringLiteral("Missing option '--uid'");
    else
        return parser.value(kUid);
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
        log.logMessage(kErrorLevel, QStringLiteral("There is no device at the USB path '%1'").arg(path));
        return std::nullopt;
    }
    return device->second;
}
