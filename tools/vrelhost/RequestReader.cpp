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

/** All that a file or standard input holds; null, with the cause in `error`, when it cannot be read. */
QByteArray content(QString const& argument, QString& error)
{
    QFile file;
    QByteArray text;
    if (open(file, argument))
        text = file.read(kLargestRequest + 1);
    if (file.error() != QFileDevice::NoError)
        error = file.errorString();
    else if (text.size() > kLargestRequest)
        error = QStringLiteral("it is larger than %1 bytes").arg(kLargestRequest);
    return error.isEmpty() ? text : QByteArray();
}

bool isJson(QString const& argument)
{
    return argument.startsWith(QLatin1Char('{')) || argument.startsWith(QLatin1Char('['));
}

} // namespace

std::optional<JsonObject> readRequest(QString const& argument, QString& error)
{
    QString cause;
    QByteArray const text =
        argument.isEmpty() || isJson(argument) ? argument.toUtf8() : content(argument, cause);
    if (cause.isEmpty() && text.trimmed().isEmpty())
        cause = QStringLiteral("it is empty");
    auto request = cause.isEmpty() ? parseJsonObject(text, cause) : std::nullopt;
    if (!request)
        error = QStringLiteral("Cannot read the request '%1': %2").arg(argument, cause);
    return request;
}
