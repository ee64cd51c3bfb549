#include "emulator/RegisterTemplates.h"

namespace VrelRig {

namespace {

/** A number at an offset of a register, little-endian. */
struct Field
{
    std::size_t offset;
    std::uint64_t value;
    std::size_t width = 1;
};

void put(std::string& bytes, Field const& field)
{
    for (std::size_t i = 0; i < field.width; ++i)
        bytes[field.offset + i] = static_cast<char>(field.value >> (8 * i) & 0xFFU);
}

template <std::size_t N>
std::string registerOf(RegisterFile const& file, Field const (&fields)[N])
{
    std::string bytes(file.size, '\0');
    for (auto const& field : fields)
        put(bytes, field);
    return bytes;
}

/** Checksum of CID and CSD: polynomial x^7 + x^3 + 1; the last byte holds it above a constant 1. */
std::string withCrc7(std::string bytes)
{
    unsigned crc = 0;
    for (char const byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80U) != 0 ? (crc << 1U) ^ 0x12U : crc << 1U;
    }
    bytes.push_back(static_cast<char>((crc & 0xFFU) | 1U));
    return bytes;
}

/** Sector addressing, 1.70-1.95 V and 2.7-3.6 V, power-up done. */
std::string ocr()
{
    return "\xC0\xFF\x80\x80";
}

std::string cid(std::uint32_t cardSerial)
{
    std::string bytes = "\xFE\x01\x52" // MID, CBX (BGA), OID
                        "VREL32"       // PNM
                        "\x10";        // PRV
    for (unsigned shift = 32; shift > 0; shift -= 8)
        bytes.push_back(static_cast<char>(cardSerial >> (shift - 8) & 0xFFU));
    bytes.push_back('\x98'); // September 2021, counted from 2013
    return withCrc7(bytes);
}

/** CSD structure in EXT_CSD, SPEC_VERS 4, 26 MHz, 512-byte blocks, size given by EXT_CSD. */
std::string csd()
{
    return withCrc7(
        std::string("\xD0\x4F\x01\x32\x8F\x59\x03\xFF\xFF\xFF\xFF\xEF\x8A\x40\x00", kCsd.size - 1));
}

std::string extCsd()
{
    constexpr Field kFields[] = {
        {33, 0x01},          // CACHE_CTRL
        {157, 0x740, 3},     // MAX_ENH_SIZE_MULT
        {160, 0x07},         // PARTITIONING_SUPPORT
        {161, 0x01},         // HPI_MGMT
        {166, 0x14},         // WR_REL_PARAM
        {167, 0x1F},         // WR_REL_SET
        {168, 0x01},         // RPMB_SIZE_MULT: 128 KiB
        {179, 0x48},         // PARTITION_CONFIG: boot from boot area 1
        {185, 0x01},         // HS_TIMING
        {192, 0x08},         // EXT_CSD_REV: 5.1
        {194, 0x02},         // CSD_STRUCTURE
        {196, 0x57},         // DEVICE_TYPE
        {197, 0x1F},         // DRIVER_STRENGTH
        {198, 0x0A},         // OUT_OF_INTERRUPT_TIME
        {199, 0x0A},         // PARTITION_SWITCH_TIME
        {212, 0x3A00000, 4}, // SEC_COUNT
        {217, 0x17},         // S_A_TIMEOUT
        {219, 0x07},         // S_C_VCCQ
        {220, 0x07},         // S_C_VCC
        {221, 0x10},         // HC_WP_GRP_SIZE
        {222, 0x01},         // REL_WR_SEC_C
        {223, 0x01},         // ERASE_TIMEOUT_MULT
        {224, 0x01},         // HC_ERASE_GRP_SIZE
        {225, 0x07},         // ACC_SIZE
        {226, 0x01},         // BOOT_SIZE_MULT: 128 KiB
        {228, 0x07},         // BOOT_INFO
        {231, 0x55},         // SEC_FEATURE_SUPPORT
        {232, 0x01},         // TRIM_MULT
        {241, 0x1E},         // INI_TIMEOUT_AP
        {247, 0x3C},         // POWER_OFF_LONG_TIME
        {248, 0x0A},         // GENERIC_CMD6_TIME
        {249, 0x400, 4},     // CACHE_SIZE
        {254, 0x01, 8},      // FIRMWARE_VERSION
        {264, 0x01},         // OPTIMAL_TRIM_UNIT_SIZE
        {265, 0x08},         // OPTIMAL_WRITE_SIZE
        {266, 0x08},         // OPTIMAL_READ_SIZE
        {267, 0x01},         // PRE_EOL_INFO
        {268, 0x01},         // DEVICE_LIFE_TIME_EST_TYP_A
        {269, 0x01},         // DEVICE_LIFE_TIME_EST_TYP_B
        {307, 0x1F},         // CMDQ_DEPTH
        {308, 0x01},         // CMDQ_SUPPORT
        {486, 0x01},         // BARRIER_SUPPORT
        {493, 0x01},         // SUPPORTED_MODES
        {494, 0x03},         // EXT_SUPPORT
        {495, 0x07},         // LARGE_UNIT_SIZE_M1
        {496, 0x05},         // CONTEXT_CAPABILITIES
        {498, 0x03},         // TAG_UNIT_SIZE
        {499, 0x01},         // DATA_TAG_SUPPORT
        {500, 0x20},         // MAX_PACKED_WRITES
        {501, 0x3C},         // MAX_PACKED_READS
        {502, 0x01},         // BKOPS_SUPPORT
        {503, 0x01},         // HPI_FEATURES
        {504, 0x01},         // S_CMD_SET
    };
    return registerOf(kExtCsd, kFields);
}

/** One logical unit for data and two for booting; units start at 16 and are 16 bytes each. */
std::string configuration()
{
    constexpr Field kFields[] = {
        {0, 0x90},      // bLength
        {1, 0x01},      // bDescriptorType: configuration
        {3, 0x01},      // bBootEnable
        {5, 0x01},      // bInitPowerMode: active
        {6, 0x7F},      // bHighPriorityLUN: none
        {16, 0x01},     // LUN 0 bLUEnable
        {20, 14976, 4}, // LUN 0 dNumAllocUnits
        {25, 0x0C},     // LUN 0 bLogicalBlockSize: 4 KiB
        {26, 0x03},     // LUN 0 bProvisioningType
        {32, 0x01},     // LUN 1 bLUEnable
        {33, 0x01},     // LUN 1 bBootLunID: boot LU A
        {35, 0x03},     // LUN 1 bMemoryType: enhanced 1
        {36, 4, 4},     // LUN 1 dNumAllocUnits
        {40, 0x01},     // LUN 1 bDataReliability
        {41, 0x0C},     // LUN 1 bLogicalBlockSize
        {48, 0x01},     // LUN 2 bLUEnable
        {49, 0x02},     // LUN 2 bBootLunID: boot LU B
        {51, 0x03},     // LUN 2 bMemoryType
        {52, 4, 4},     // LUN 2 dNumAllocUnits
        {56, 0x01},     // LUN 2 bDataReliability
        {57, 0x0C},     // LUN 2 bLogicalBlockSize
    };
    return registerOf(kConfiguration, kFields);
}

std::string attributes()
{
    constexpr Field kFields[] = {
        {0, 0x7FFF, 4}, // enables: one bit per attribute
        {8, 0x01, 4},   // bBootLunEn: boot LU A
        {12, 0x11, 4},  // bCurrentPowerMode: active
        {20, 0x00, 4},  // bOutOfOrderDataEn
        {24, 0x08, 4},  // bMaxDataInSize
        {28, 0x08, 4},  // bMaxDataOutSize
        {32, 0x01, 4},  // bRefClkFreq: 26 MHz
        {40, 0x02, 4},  // bMaxNumOfRTT
        {48, 3600, 4},  // dSecondsPassed
    };
    return registerOf(kAttributes, kFields);
}

std::string geometry()
{
    constexpr Field kFields[] = {
        {0, 0x44},         // bLength
        {1, 0x07},         // bDescriptorType: geometry
        {4, 0x7700000, 8}, // qTotalRawDeviceCapacity, in 512 bytes
        {12, 0x00},        // bMaxNumberLU: 8
        {13, 0x2000, 4},   // dSegmentSize, in 512 bytes: 4 MiB
        {17, 0x01},        // bAllocationUnitSize, in segments
        {18, 0x08},        // bMinAddrBlockSize, in 512 bytes
        {19, 0x08},        // bOptimalReadBlockSize
        {20, 0x08},        // bOptimalWriteBlockSize
        {21, 0x08},        // bMaxInBufferSize
        {22, 0x08},        // bMaxOutBufferSize
        {23, 0x40},        // bRPMB_ReadWriteSize
        {25, 0x01},        // bDataOrdering
        {26, 0x05},        // bMaxContexIDNumber
        {29, 0x09},        // bSupportedSecRTypes
        {30, 0x8009, 2},   // wSupportedMemoryTypes: normal, enhanced 1, RPMB
        {44, 0x1DC0, 4},   // dEnhanced1MaxNAllocU
        {48, 0x0300, 2},   // wEnhanced1CapAdjFac: 3
    };
    return registerOf(kGeometry, kFields);
}

} // namespace

std::vector<RegisterContent> registerTemplates(StorageKind kind, std::uint32_t cardSerial)
{
    switch (kind) {
    case StorageKind::emmc:
        return {{kOcr, ocr()}, {kCid, cid(cardSerial)}, {kCsd, csd()}, {kExtCsd, extCsd()}};
    case StorageKind::ufs:
        return {{kConfiguration, configuration()}, {kAttributes, attributes()}, {kGeometry, geometry()}};
    case StorageKind::spi:
        break;
    }
    return {};
}

} // namespace VrelRig
