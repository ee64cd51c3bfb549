#include "commands/cardreport/VrelCardField.h"
#include "commands/cardreport/VrelCardReport.h"
#include "commands/cardreport/VrelRawDump.h"

#include <QStringBuilder>

namespace VrelUtilsCommand {

namespace {

/** Where the registers stand in the buffer. */
constexpr unsigned int kCid = 4;
constexpr unsigned int kCsd = 20;
constexpr unsigned int kCsdSize = 16;
constexpr unsigned int kExtCsd = 36;
constexpr unsigned int kExtCsdSize = 512;

constexpr int kReportSize = 2500; ///< characters, for one allocation: a little more than a report has

constexpr CardField kOcr = {"OCR", 0, 4, kHexadecimal};

/** Card identification register, in the buffer's order. */
constexpr CardField kManufacturer = {"Manufacture ID", 0, 1, kHexadecimal};   // MID
constexpr CardField kCardType = {"CardBGA", 1, 1, kHexadecimal};              // CBX
constexpr CardField kOemApplication = {"OEM Application ID", 2, 1, kDecimal}; // OID
constexpr CardField kProductName = {"Product Name", 3, 6, kDecimal};          // PNM, characters
constexpr CardField kRevision = {"Product Version", 9, 1, kHexadecimal};      // PRV
constexpr CardField kSerialNumber = {"Product SN", 10, 4, kHexadecimal};      // PSN
constexpr CardField kDate = {"Manufacture Date", 14, 1, kHexadecimal};        // MDT
constexpr CardField kChecksum = {"CRC7 Checksum", 15, 1, kDecimal};           // CRC

/** Extended CSD register, bytes by their index. */
constexpr CardField kGpSizeMult[] = {
    {"GPP1", 143, 3, kDecimal}, // GP_SIZE_MULT_1
    {"GPP2", 146, 3, kDecimal}, // GP_SIZE_MULT_2
    {"GPP3", 149, 3, kDecimal}, // GP_SIZE_MULT_3
    {"GPP4", 152, 3, kDecimal}, // GP_SIZE_MULT_4
};
constexpr CardField kHcWpGrpSize = {"HC_WP_GRP_SIZE", 221, 1, kDecimal};
constexpr CardField kHcEraseGrpSize = {"HC_ERASE_GRP_SIZE", 224, 1, kDecimal};

QString line(CardField const& field, QString const& value)
{
    return QLatin1Char('\n') % QLatin1String(field.name) % QLatin1String(": ") % value;
}

QString line(CardField const& field, unsigned char const* block)
{
    return line(field, fieldText(field, block));
}

/** The name as it stands: a NUL is a character, and a byte above 0x7F is read as a signed one. */
QString productName(unsigned char const* cid)
{
    QString name;
    for (unsigned int i = 0; i < kProductName.width; ++i)
        name += QChar(static_cast<ushort>(static_cast<signed char>(cid[kProductName.offset + i])));
    return name;
}

QString serialNumber(unsigned char const* cid)
{
    QString digits;
    rawDump(cid + kSerialNumber.offset, kSerialNumber.width, true, false, 0, QString(), digits);
    return digits;
}

QString registerDump(unsigned char const* bytes, unsigned int size)
{
    QString dump;
    rawDump(bytes, size, false, true, 16, QStringLiteral(" "), dump);
    return dump;
}

QString partitionSizeLine(CardField const& multiplier, unsigned char const* extCsd)
{
    auto const factor = [extCsd](CardField const& field) {
        return static_cast<quint32>(fieldNumber(field, extCsd));
    };
    quint32 const kilobytes = factor(multiplier) * factor(kHcWpGrpSize) * factor(kHcEraseGrpSize) * 512U;
    return QLatin1Char('\n') % QLatin1String(multiplier.name) % QLatin1String(" size:  ") %
           QString::number(kilobytes) % QLatin1String(" kB");
}

} // namespace

QString emmcReport(unsigned char const (&info)[kCardInfoSize])
{
    unsigned char const* const cid = info + kCid;
    unsigned char const* const extCsd = info + kExtCsd;

    QString report;
    report.reserve(kReportSize);
    report += QLatin1String("\n==== EMMC CARD INFO ====");
    report += line(kOcr, info);
    report += QLatin1String("\n\n---- CID ----");
    report += line(kManufacturer, cid);
    report += line(kCardType, cid);
    report += line(kOemApplication, cid);
    report += line(kProductName, productName(cid));
    report += line(kRevision, cid);
    report += line(kSerialNumber, serialNumber(cid));
    report += line(kDate, cid);
    report += line(kChecksum, cid);
    report += QLatin1String("\n\n---- CSD----\n") + registerDump(info + kCsd, kCsdSize);
    report += QLatin1String("\n\n---- EXT CSD ----");
    for (CardField const& multiplier : kGpSizeMult)
        report += partitionSizeLine(multiplier, extCsd);
    report += QLatin1String("\n\n---- EXT CSD RAW ----\n") + registerDump(extCsd, kExtCsdSize);
    report += QLatin1String("\n========\n");
    return report;
}

} // namespace VrelUtilsCommand
