#pragma once

#include "external/JsonObject.h"

#include <QString>
#include <QStringList>

#include <optional>

/** What the downloader's command line asks for. */
struct DownloaderArguments
{
    JsonObject request;         ///< the command and its parameters, as the library takes them
    QString serial;             ///< empty when not given
    QStringList unknownOptions; ///< given, but not parameters of the command
};

/**
 * Reads `--command NAME [--sn SERIAL] [--KEY VALUE ...]`. Keys and types come from the library's description
 * of the command; a value that is not of its parameter's type is kept as text, for the library to reject.
 * @return nothing, with the cause in `error`, when the arguments do not have that form
 */
std::optional<DownloaderArguments> parseDownloaderArguments(QStringList const& arguments, QString& error);
