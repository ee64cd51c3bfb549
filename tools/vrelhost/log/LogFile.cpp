#include "tools/vrelhost/log/LogFile.h"

#include "framework/LogLines.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

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
    std::string const name = QFile::encodeName(directory).toStdString();
    std::error_code error;
    std::filesystem::create_directories(name, error);
    if (!error && ::access(name.c_str(), W_OK | X_OK) != 0)
        error.assign(errno, std::system_category());
    return error ? QStringLiteral("Cannot make log files in '%1': %2; name another directory with --log-dir")
                       .arg(directory, qt_error_string(error.value()))
                 : QString();
}

std::unique_ptr<LogFile> LogFile::create(QString const& directory, DeviceName const& device, QString& error)
{
    error = directoryFault(directory); // again: somebody may have put it away meanwhile
    if (!error.isEmpty())
        return nullptr;
    QString const time = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss.zzz'Z'"));
    QString const name = QStringLiteral("%1/%2_%3_%4")
                             .arg(directory, fileNamePart(device.path), fileNamePart(device.serial), time);
    auto log = std::make_unique<LogFile>();
    QFile& file = log->m_file;
    for (int other = 1; !file.isOpen(); ++other) {
        file.setFileName(name + (other == 1 ? QString() : QStringLiteral("-%1").arg(other)) +
                         QStringLiteral(".jsonl"));
        bool const isMade = file.open(QIODevice::Append | QIODevice::NewOnly | QIODevice::Unbuffered);
        if (!isMade && !file.exists()) {
            error =
                QStringLiteral("Cannot make the log file '%1': %2").arg(file.fileName(), file.errorString());
            return nullptr;
        }
    }
    return log;
}

LogFile::~LogFile()
{
    if (m_isEmpty)
        m_file.remove();
}

QString LogFile::write(LogLine const& line, QByteArray const& members)
{
    QString const time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    QByteArray rest = toJson(line, time);
    rest.insert(rest.size() - 1, members);
    rest += '\n';
    qint64 const begin = m_file.size();
    for (qint64 written = 1; written > 0 && !rest.isEmpty(); rest.remove(0, static_cast<int>(written)))
        written = std::max<qint64>(m_file.write(rest), 0);
    m_isEmpty = m_isEmpty && !rest.isEmpty();
    if (rest.isEmpty())
        return QString();
    QString const fault =
        QStringLiteral("Cannot write the log file '%1': %2").arg(m_file.fileName(), m_file.errorString());
    m_file.resize(begin); // only whole lines
    return std::exchange(m_isFaultTold, true) ? QString() : fault;
}
