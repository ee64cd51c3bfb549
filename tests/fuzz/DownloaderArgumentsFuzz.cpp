#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/JsonText.h"
#include "tests/fuzz/Require.h"
#include "tests/support/ArgumentCollector.h"
#include "tools/ruxFwDownloader/DownloaderArguments.h"

#include <QRegularExpression>

/**
 * @file
 * A command line through the downloader's reading of it, and back through the front end's writing: the input
 * holds the arguments, each ended by a NUL as in /proc/PID/cmdline.
 */
namespace {

QStringList argumentsOf(std::uint8_t const* data, std::size_t size)
{
    QStringList arguments;
    for (QByteArray const& argument :
         QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)).split('\0'))
        arguments << QString::fromUtf8(argument);
    arguments.removeLast();
    return arguments;
}

/** A parameter becomes a number when its text is one in full, and stays that text otherwise. */
void checkValue(QString const& text, QVariant const& value)
{
    static QRegularExpression const s_number(QStringLiteral(R"(\A([0-9]+|0[xX][0-9A-Fa-f]+)\z)"));
    if (value.type() == QVariant::String)
        require(value.toString() == text, "a text is kept");
    else
        require(s_number.match(text).hasMatch(), "a number is decimal or 0x and hexadecimal digits");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    QStringList const arguments = argumentsOf(data, size);
    QString error;
    auto const parsed = parseDownloaderArguments(arguments, error);
    require(parsed.has_value() == error.isEmpty(), "refused arguments, and only those, are explained");
    if (!parsed)
        return 0;
    for (int i = 0; i < arguments.size(); i += 2) {
        QVariant value;
        if (parsed->request.getValue(arguments.at(i).mid(2), value) == JsonObject::Present)
            checkValue(arguments.at(i + 1), value);
    }

    LogHandler log;
    VrelFlashUtils utils;
    if (!utils.parseArguments(parsed->request, log))
        return 0;
    QStringList const sent = ArgumentCollector::of(utils, parsed->serial);
    auto const received = parseDownloaderArguments(sent, error);
    require(received.has_value(), "what the front end writes is read");
    require(received->unknownOptions.isEmpty(), "and known");
    require(received->serial == parsed->serial, "with the same serial number");
    VrelFlashUtils again;
    require(again.parseArguments(received->request, log), "and accepted");
    require(toCompactJson(again.getParameters()) == toCompactJson(utils.getParameters()),
            "with the same parameters");
    return 0;
}
