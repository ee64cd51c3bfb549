#pragma once

#include "framework/LogSink.h"

#include <QFile>
#include <QString>

#include <memory>

/**
 * A file that keeps all of a device's log lines, one JSON object a line, with the time. Each line is handed
 * to the system at once, so that the end of this process loses none. Lines come from one thread at a time.
 */
class LogFile
{
public:
    /** Makes the directory if it is missing. @return why new files cannot be made in it; empty when they can
     */
    static QString directoryFault(QString const& directory);

    /**
     * Makes a new file, named after the device and the time.
     * @return null, with the cause in `error`, when it cannot be made
     */
    static std::unique_ptr<LogFile> create(QString const& directory, DeviceName const& device,
                                           QString& error);

    /** One to which nothing was written is removed. */
    ~LogFile();

    QString name() const { return m_file.fileName(); }

    /**
     * @param members more of the line's object, each behind a comma
     * @return why this line could not be written, told for the first such line only; otherwise empty
     */
    QString write(LogLine const& line, QByteArray const& members = {});

private:
    QFile m_file;
    bool m_isEmpty = true;
    bool m_isFaultTold = false;
};
