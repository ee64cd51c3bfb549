#include "tools/common/ExecutableFault.h"

#include <QFileInfo>

QString executableFault(QString const& path)
{
    QFileInfo const info(path);
    if (!info.exists())
        return QStringLiteral("it does not exist");
    if (!info.isFile())
        return QStringLiteral("it is not a file");
    if (!info.isExecutable())
        return QStringLiteral("it is not executable");
    return QString();
}
