#include "devices/VrelSerialOutput.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

bool isLetterOrDigit(QChar character)
{
    ushort const code = character.unicode();
    return (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z') || (code >= '0' && code <= '9');
}

} // namespace

QString VrelSerialOutput::text(QByteArray const& bytes)
{
    auto const capacity = static_cast<uint>(bytes.size());
    return QString::fromUtf8(bytes.constData(), static_cast<int>(qstrnlen(bytes.constData(), capacity)));
}

QString VrelSerialOutput::serialNumber(QString const& output)
{
    QString serial;
    for (QStringRef const& line :
         output.splitRef(QRegularExpression(QStringLiteral("[\r\n]+")), Qt::SkipEmptyParts)) {
        if (!std::all_of(line.begin(), line.end(), isLetterOrDigit))
            continue;
        if (!serial.isNull())
            return QString();
        serial = line.toString();
    }
    return serial;
}
