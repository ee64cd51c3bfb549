#include "tools/vrelhost/DeviceNode.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

/** The number in a file of at most three digits, filled up with zeros; empty when there is none. */
QString threeDigits(QString const& name)
{
    constexpr int kDigits = 3;
    QFile file(name);
    // Anything but a regular file, such as a pipe, could block.
    if (!QFileInfo(name).isFile() || !file.open(QIODevice::ReadOnly))
        return QString();
    QString const text = QString::fromLatin1(file.read(kDigits + 2)).trimmed();
    bool isNumber = false;
    uint const number = text.toUInt(&isNumber);
    return isNumber && text.size() <= kDigits
               ? QStringLiteral("%1").arg(number, kDigits, 10, QLatin1Char('0'))
               : QString();
}

} // namespace

QString DeviceNode::path(QString const& root, QString const& device, QString const& nodes)
{
    QString const entry = root + QLatin1Char('/') + device;
    QString const bus = threeDigits(entry + QStringLiteral("/busnum"));
    QString const number = threeDigits(entry + QStringLiteral("/devnum"));
    if (bus.isEmpty() || number.isEmpty())
        return QString();
    return nodes + QLatin1Char('/') + bus + QLatin1Char('/') + number;
}

bool DeviceNode::isDenied(QString const& node)
{
    int const file = ::open(QFile::encodeName(node).constData(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return errno == EACCES || errno == EPERM;
    ::close(file);
    return false;
}
