#include "tools/ruxFwDownloader/DownloaderArguments.h"

#include "commands/VrelFlashUtils.h"

#include <QRegularExpression>

#include <map>

namespace {

using Options = std::map<QString, QString>;

std::optional<Options> parseOptions(QStringList const& arguments, QString& error)
{
    Options options;
    for (int i = 0; i < arguments.size(); i += 2) {
        QString const& argument = arguments.at(i);
        if (!argument.startsWith(QLatin1String("--")) || argument.size() == 2) {
            error = QStringLiteral("Unexpected argument '%1'").arg(argument);
            return std::nullopt;
        }
        if (i + 1 == arguments.size()) {
            error = QStringLiteral("Missing value after '%1'").arg(argument);
            return std::nullopt;
        }
        if (!options.emplace(argument.mid(2), arguments.at(i + 1)).second) {
            error = QStringLiteral("Option '%1' is given twice").arg(argument);
            return std::nullopt;
        }
    }
    return options;
}

std::optional<QString> take(Options& options, QString const& key)
{
    auto const entry = options.find(key);
    if (entry == options.end())
        return std::nullopt;
    QString const value = entry->second;
    options.erase(entry);
    return value;
}

/** A value in its parameter's type: decimal or 0x… for numbers; text when it is no such number. */
QVariant typedValue(QString const& text, QVariant const& type)
{
    if (!type.toString().contains(QLatin1String("uint")))
        return text;
    // Qt's own conversions also take blanks, signs and a second 0x.
    static QRegularExpression const s_form(QStringLiteral(R"(\A(?:0[xX]([0-9A-Fa-f]+)|([0-9]+))\z)"));
    QRegularExpressionMatch const form = s_form.match(text);
    bool isNumber = false;
    qulonglong const number = form.capturedLength(1) > 0 ? form.capturedRef(1).toULongLong(&isNumber, 16)
                                                         : form.capturedRef(2).toULongLong(&isNumber, 10);
    return isNumber ? QVariant(number) : QVariant(text);
}

} // namespace

std::optional<DownloaderArguments> parseDownloaderArguments(QStringList const& arguments, QString& error)
{
    auto options = parseOptions(arguments, error);
    if (!options)
        return std::nullopt;
    auto const command = take(*options, QStringLiteral("command"));
    if (!command) {
        error = QStringLiteral("Missing option '--command'");
        return std::nullopt;
    }
    DownloaderArguments result;
    result.serial = take(*options, QStringLiteral("sn")).value_or(QString());
    result.request.setValue(QStringLiteral("command"), *command);

    JsonObject const types = VrelFlashUtils::getParameterTypes(result.request);
    for (auto const& [key, text] : *options) {
        QVariant type;
        if (types.getValue(key, type) == JsonObject::Present)
            result.request.setValue(key, typedValue(text, type));
        else
            result.unknownOptions << QStringLiteral("--") + key;
    }
    return result;
}
