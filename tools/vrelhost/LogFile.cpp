#include "tools/vrelhost/LogFile.h"

#include "framework/LogLines.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace {

/** What a device's name gives to a file's: short enough for any file system, without what could lead
 * elsewhere.
 */
QString fileNamePart(QString text)
{
    constexpr int kLongest = 80;
    static QRegularExpression const s_other(QStringLiteral("[^A-Za-z0-9._-]"));
    text = text.left(kLongest).replace(s_other, QStringLiteral("_"));
    return text.isEmpty() ? QStringLiteral("unknown") : text;
}

} // namespace

QString LogFile::directoryFault(QString const& directory)
{
    if (!QDir().mkpath(directory))
        return QStringLiteral("Cannot make the directory '%1'; name another one with --log-dir")
            .arg(directory);
    if (!QFileInfo(directory).isWritable())
        return QStringLiteral("The directory '%1' takes no new files; name another one with --log-dir")
            .arg(directory);
    return QString();
}

std::unique_ptr<LogFile> LogFile::create(QString const& directory, DeviceName const& device, QString& error)
{
    QString const time = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss.zzz'Z'"));
    QString const name = QStringLiteral("%1/%2_%3_%4")
                             .arg(directory, fileNamePart(device.path), fileNamePart(device.serial), time);
    auto log = std::make_unique<LogFile>();
    QFile& file = log->m_file;
    for (int other = 1; !file.isOpen(); ++other) {
        file.setFileName(name + (other == 1 ? QString() : QStringLiteral("-%1").arg(other)) +
                         QStringLiteral(".jsonl"));
        bool const isMade = file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered);
        if (!isMade && !file.exists()) {
            error =
                QStringLiteral("Cannot make the log file '%1': %2").arg(file.fileName(), file.errorString());
            return nullptr;
        }
    }
    return log;
}

QString LogFile::write(LogLine const& line)
{
    QString const time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    QByteArray rest = (m_isTorn ? "\n" : "") + toJson(line, time) + '\n';
    for (qint64 written = 1; written > 0 && !rest.isEmpty(); rest.remove(0, static_cast<int>(written))) {
        written = std::max<qint64>(m_file.write(rest), 0);
        m_isTorn = m_isTorn || written > 0;
    }
    if (rest.isEmpty()) {
        m_isTorn = false;
        return QString();
    }
    if (m_isFaultTold)
        return QString();
    m_isFaultTold = true;
    return QStringLiteral("Cannot write the log file '%1': %2").arg(m_file.fileName(), m_file.errorString());
}
