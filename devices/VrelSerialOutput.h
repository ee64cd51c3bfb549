#pragma once

#include <QByteArray>
#include <QString>

/** How the downloader's answer to "getSerial" is read. */
namespace VrelSerialOutput {

/** What it printed, as UTF-8 up to the first NUL. */
QString text(QByteArray const& bytes);

/** The one line that is made of ASCII letters and digits alone; null when there is none or more than one. */
QString serialNumber(QString const& output);

} // namespace VrelSerialOutput
