#include "commands/support/VrelRuxModule.h"

#include "commands/support/VrelFileBytes.h"
#include "external/Converter.h"

namespace VrelUtilsCommand {

namespace {

/** The version field in a module's header. */
constexpr std::size_t kVersionOffset = 130;
constexpr std::size_t kVersionSize = 2;

} // namespace

QString getRuxModuleVersion(QString const& path)
{
    QString unknown = QStringLiteral("Unknown");
    unsigned char version[kVersionSize];
    if (readFileBytes(path, kVersionOffset, version, kVersionSize) != kVersionSize)
        return unknown;
    QString const digits = Converter::convertByteArrayToHexString(version, kVersionSize, false, true, true);
    bool isNumber = false;
    uint const number = digits.toUInt(&isNumber, 16);
    return isNumber ? QString::number(number) : unknown;
}

} // namespace VrelUtilsCommand
