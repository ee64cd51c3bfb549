#include "commands/cardreport/VrelCardField.h"
#include "commands/cardreport/VrelCardReport.h"

namespace VrelUtilsCommand {

namespace {

/** Where the blocks stand in the buffer; attributes, when there are any, come before the geometry descriptor.
 */
constexpr std::uint32_t kSizeWithAttributes = 272;
constexpr unsigned int kUnits = 16;
constexpr unsigned int kUnitSize = 16;
constexpr int kUnitCount = 8;
constexpr unsigned int kAttributes = 144;
constexpr unsigned int kAttributesSize = 60;

/** Configuration descriptor header. */
constexpr CardField kHeaderFields[] = {
    {"BootEnable", 3, 1, kDecimal},        {"DescAccessEn", 4, 1, kDecimal},
    {"InitPowerMode", 5, 1, kHexadecimal}, {"HighPriorityLUN", 6, 1, kHexadecimal},
    {"SecureRemovalType", 7, 1, kDecimal}, {"InitActiveICCLevel", 8, 1, kDecimal},
    {"PeriodicRTCUpdate", 9, 2, kDecimal},
};

/** Unit descriptor configurable parameters of one logical unit. */
constexpr CardField kUnitFields[] = {
    {"LUEnable", 0, 1, kHexadecimal},         {"BootLunID", 1, 1, kHexadecimal},
    {"LUWriteProtect", 2, 1, kDecimal},       {"MemoryType", 3, 1, kDecimal},
    {"NumAllocUnits", 4, 4, kDecimal},        {"DataReliability", 8, 1, kDecimal},
    {"LogicalBlockSize", 9, 1, kDecimal},     {"ProvisioningType", 10, 1, kHexadecimal},
    {"ContextCapabilities", 11, 2, kDecimal},
};

/** Attributes, each in a slot of four bytes. */
constexpr CardField kAttributeFields[] = {
    {"AttributesEnables", 0, 4, kHexadecimal},
    {"bRefClkFreq", 32, 1, kHexadecimal},
    {"bBootLunEn", 8, 1, kHexadecimal},
    {"bCurrentPowerMode", 12, 1, kHexadecimal},
    {"bActiveICCLevel", 16, 1, kHexadecimal},
    {"bOutOfOrderDataEn", 20, 1, kHexadecimal},
    {"bMaxDataInSize", 24, 1, kHexadecimal},
    {"bMaxDataOutSize", 28, 1, kHexadecimal},
    {"bConfigDescrLock", 36, 1, kHexadecimal},
    {"bMaxNumOfRTT", 40, 1, kHexadecimal},
    {"wExceptionEventControl", 44, 2, kHexadecimal},
    {"dSecondsPassed", 48, 4, kDecimal},
};

/** Geometry descriptor. */
constexpr CardField kGeometryFields[] = {
    {"bLength", 0, 1, kHexadecimal},
    {"bDescriptorType", 1, 1, kHexadecimal},
    {"bMediaTechnology", 2, 1, kHexadecimal},
    {"qTotalRawDeviceCapacity", 4, 8, kDecimal},
    {"dSegmentSize", 13, 4, kDecimal},
    {"bAllocationUnitSize", 17, 1, kDecimal},
    {"bMinAddrBlockSize", 18, 1, kDecimal},
    {"bOptimalReadBlockSize", 19, 1, kDecimal},
    {"bOptimalWriteBlockSize", 20, 1, kDecimal},
    {"bMaxInBufferSize", 21, 1, kDecimal},
    {"bMaxOutBufferSize", 22, 1, kDecimal},
    {"bRPMBReadWriteSize", 23, 1, kDecimal},
    {"bDataOrdering", 25, 1, kDecimal},
    {"bMaxContextIDNumber", 26, 1, kHexadecimal},
    {"bSysDataTagUnitSize", 27, 1, kDecimal},
    {"bSysDataTagResSize", 28, 1, kDecimal},
    {"bSupportedSecRTypes", 29, 1, kHexadecimal},
    {"wSupportedMemoryTypes", 30, 2, kHexadecimal},
    {"dSystemCodeMaxNAllocU", 32, 4, kHexadecimal},
    {"wSystemCodeCapAdjFac", 36, 2, kHexadecimal},
    {"dNonPersistMaxNAllocU", 38, 4, kHexadecimal},
    {"wNonPersistCapAdjFac", 42, 2, kHexadecimal},
    {"dEnhanced1MaxNAllocU", 44, 4, kHexadecimal},
    {"wEnhanced1CapAdjFac", 48, 2, kHexadecimal},
    {"dEnhanced2MaxNAllocU", 50, 4, kHexadecimal},
    {"wEnhanced2CapAdjFac", 54, 2, kHexadecimal},
    {"dEnhanced3MaxNAllocU", 56, 4, kHexadecimal},
    {"wEnhanced3CapAdjFac", 60, 2, kHexadecimal},
    {"dEnhanced4MaxNAllocU", 62, 4, kHexadecimal},
    {"wEnhanced4CapAdjFac", 66, 2, kHexadecimal},
};

template <std::size_t Count>
void appendLines(QString& report, CardField const (&fields)[Count], unsigned char const* block)
{
    for (CardField const& field : fields)
        report += QLatin1Char('\n') + QLatin1String(field.name) + QLatin1String(": [") +
                  fieldText(field, block) + QLatin1Char(']');
}

} // namespace

QString ufsReport(unsigned char const (&info)[kCardInfoSize], std::uint32_t size)
{
    bool const hasAttributes = size == kSizeWithAttributes;

    QString report = QStringLiteral("\n==== UFS device info ====");
    report += QLatin1String("\n\n---- Descriptor ----");
    appendLines(report, kHeaderFields, info);
    if (!hasAttributes)
        report += QLatin1Char('\n');
    for (int unit = 0; unit < kUnitCount; ++unit) {
        report += QStringLiteral("\n\n---- LUN %1 ----").arg(unit);
        appendLines(report, kUnitFields, info + kUnits + kUnitSize * static_cast<unsigned int>(unit));
    }
    if (hasAttributes) {
        report += QLatin1String("\n\n---- Attributes ----");
        appendLines(report, kAttributeFields, info + kAttributes);
    }
    report += QLatin1String("\n\n---- Geometry Descriptor ----");
    appendLines(report, kGeometryFields, info + kAttributes + (hasAttributes ? kAttributesSize : 0));
    report += QLatin1String("\n========\n");
    return report;
}

} // namespace VrelUtilsCommand
