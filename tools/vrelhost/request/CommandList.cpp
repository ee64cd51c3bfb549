#include "tools/vrelhost/request/CommandList.h"

#include "commands/VrelFlashUtils.h"

QStringList CommandList::names()
{
    QStringList names; // each usage text begins with one, alone on its line behind a tab
    for (QString const& line : VrelFlashUtils::getUsages().split(QLatin1Char('\n'))) {
        QString const name = line.trimmed();
        if (line.startsWith(QLatin1Char('\t')) && !name.contains(QLatin1Char(' ')))
            names << name;
    }
    return names;
}

JsonObject CommandList::types(QString const& command)
{
    JsonObject request;
    request.setValue(QStringLiteral("command"), command);
    return VrelFlashUtils::getParameterTypes(request);
}
