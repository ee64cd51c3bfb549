#include "tools/common/ExecutableFault.h"

#include <QFileInfo>
#include <QStandardPaths>

QString findProgram(QString const& name)
{
    if (name.contains(QLatin1Char('/')))
        return name;
    QString const found = QStandardPaths::findExecutable(name);
    return found.isEmpty() ? name : found;
}

QString executableFault(QString const& program)
{
    QFileInfo const info(program);
    if (!program.contains(QLatin1Char('/')))
        return QStringLiteral("it is not in PATH, where a name without a slash is looked up");
    if (!info.exists())
        return QStringLiteral("it does not exist");
    if (!info.isFile())
        return QStringLiteral("it is not a file");
    if (!info.isExecutable())
        return QStringLiteral("it is not executable");
    return QString();
}
