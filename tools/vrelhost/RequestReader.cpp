#include "tools/vrelhost/RequestReader.h"

#include "framework/JsonText.h"

#include <QFile>

#include <cstdio>

namespace {

/** Far above any request; keeps a wrong path such as a device file from filling the memory. */
constexpr qint64 kLargestRequest = qint64{1024} * 1024;

bool open(QFile& file, QString const& argument)
{
    if (argument == QLatin1String("-"))
        return file.open(stdin, QIODevice::ReadOnly);
    file.setFileName(argument);
    return file.open(QIODevice::ReadOnly);
}

} // namespace

std::optional<JsonObject> readRequest(QString const& argument, QString& error)
{
    if (argument.startsWith(QLatin1Char('{')))
        return parseJsonObject(argument.toUtf8(), error);

    QFile file;
    if (!open(file, argument)) {
        error = file.errorString();
        return std::nullopt;
    }
    QByteArray const text = file.read(kLargestRequest + 1);
    if (file.error() != QFileDevice::NoError) {
        error = file.errorString();
        return std::nullopt;
    }
    if (text.size() > kLargestRequest) {
        error = QStringLiteral("larger than %1 bytes").arg(kLargestRequest);
        return std::nullopt;
    }
    return parseJsonObject(text, error);
}
