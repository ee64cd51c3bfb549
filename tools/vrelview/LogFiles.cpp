#include "tools/vrelview/LogFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

/** A regular file, open for reading; the descriptor is closed with the object unless it is released. */
struct RegularFile
{
    int descriptor = -1;
    struct stat status = {};

    explicit RegularFile(QString const& name)
    {
        if (!name.endsWith(QLatin1String(".jsonl"))) // a ledger from elsewhere may name what is no log
            return;
        descriptor = ::open(QFile::encodeName(name).constData(),
                            O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC);
        if (descriptor >= 0 && (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)))
            ::close(release());
    }
    ~RegularFile()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    RegularFile(RegularFile const&) = delete;
    RegularFile& operator=(RegularFile const&) = delete;

    int release() { return std::exchange(descriptor, -1); }
    quint64 size() const { return static_cast<quint64>(status.st_size); }

    QByteArray end(quint64 longest) const
    {
        auto const length = std::min(size(), longest);
        QByteArray bytes(static_cast<int>(length), '\0');
        ssize_t const got = ::pread(descriptor, bytes.data(), length, static_cast<off_t>(size() - length));
        return bytes.left(static_cast<int>(std::max<ssize_t>(got, 0)));
    }
};

} // namespace

HttpAnswer LogFiles::answer(QString const& name, std::optional<qint64> tail)
{
    RegularFile file(name);
    if (file.descriptor < 0)
        return HttpAnswer::refusal(404, QStringLiteral("The log file no longer exists or cannot be read"));
    HttpAnswer answer;
    answer.size = tail ? std::min(file.size(), static_cast<quint64>(*tail)) : file.size();
    answer.offset = file.size() - answer.size;
    answer.file = file.release();
    return answer;
}

QString LogFiles::lastLine(QString const& name)
{
    constexpr quint64 kLongest = 4096;
    constexpr int kShown = 300;
    RegularFile const file(name);
    if (file.descriptor < 0)
        return QString();
    QByteArray bytes = file.end(kLongest);
    bytes.truncate(std::max(bytes.lastIndexOf('\n'), 0)); // the line after it is being written
    QByteArray const line = bytes.mid(bytes.lastIndexOf('\n') + 1);
    QJsonObject const object = QJsonDocument::fromJson(line).object();
    QString text = object.isEmpty() ? QString::fromUtf8(line) : QString();
    for (char const* const key : {"label", "value", "text"})
        text += object.value(QLatin1String(key)).toString();
    return text.isEmpty() ? QString() : text.left(kShown);
}

qint64 LogFiles::sizeOf(QString const& name)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(name).constData(), &status) == 0 ? status.st_size : -1;
}
