#pragma once

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class LogHandler;

/** The options that may follow "getSerial". */
QList<QCommandLineOption> serialQueryOptions();

/**
 * Reads what follows "getSerial": `[--quiet] --uid PATH`. There is nothing but the number to be said on
 * success, with --quiet or without.
 * @return the USB path; nothing, with the cause in `error`, when the arguments do not have that form
 */
std::optional<QString> parseSerialQuery(QStringList const& arguments, QString& error);

/**
 * Asks the vendor API for the serial number of the device at a USB path.
 * @return nothing, with the cause logged at level 1, when there is none
 */
std::optional<QString> querySerial(QString const& path, LogHandler const& log);
