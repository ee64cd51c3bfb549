#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/**
 * @file
 * Binary contract of the vendor download library `libvrelapi`.
 *
 * The library is called through a table of operations: a C++ object whose virtual table holds the slots in
 * declaration order (Itanium C++ ABI). The table is frozen. Slots are never inserted, moved or removed; the
 * reserved ones are never called and only keep their successors in place. There is no virtual destructor, so
 * that slot 0 is the first operation; the object belongs to the vendor library and is never deleted by its
 * users.
 *
 * Conventions of all operations:
 * - texts are NUL-terminated UTF-8 and stay valid for the length of the call only;
 * - an operation that takes `errorText` returns 0 on success. On any other result it leaves a NUL-terminated
 *   text there; the buffer holds `kVrelErrorTextSize` bytes and is not cleared by the callee;
 * - device serial numbers select the device; storage devices are given by type (1 SPI flash, 2 eMMC, 3 UFS,
 *   16 UFS with host performance booster) and index;
 * - an operation blocks, and may call `log` with `context` on the caller's thread meanwhile.
 */

/** Size in bytes of the error-text buffer that every device operation receives. */
constexpr std::size_t kVrelErrorTextSize = 1024;

/** Receiver of the vendor library's own messages; levels 1 (trace) to 5 (fatal). */
using VrelApiLogCallback = void (*)(unsigned long level, char const* text, void* context);

/** Answer of IVrelAPI::getApiVersion. */
struct VrelApiVersionRecord
{
    char versionText[256];   ///< 8-bit characters (Latin-1)
    std::int32_t textLength; ///< valid characters in versionText; -1: versionText is NUL-terminated
};

/** USB location of one listed device. */
struct VrelDeviceLocation
{
    std::uint8_t bus;            ///< USB bus number
    std::uint8_t ports[7];       ///< port on the root hub first, then the port on each further hub
    std::int32_t portCount;      ///< valid entries in ports, 0 to 7
    std::uint8_t reserved[2068]; ///< the vendor library's own
};

/** Answer of IVrelAPI::listDevices. */
struct VrelDeviceList
{
    std::uint32_t count;              ///< listed devices, at most 24
    char names[24][128];              ///< NUL-terminated serial number of each device
    std::uint8_t reserved[4];         ///< the vendor library's own
    VrelDeviceLocation locations[24]; ///< location of each device, same order as names
};

/** IFP emulation record; opaque to everyone but the vendor library. */
struct VrelIfpRecord
{
    std::uint8_t bytes[44];
};

/** Unique platform ID reported by a device's identification. */
struct VrelPlatformId
{
    std::uint8_t bytes[16];
};

/** Raw response of a device's identification. */
struct VrelIdResponse
{
    std::uint8_t header[4];
    std::uint8_t imageErrors[12]; ///< one error code per image, 0 = no error
    std::uint8_t rest[244];
};

/** Part ID that a token is made for. */
struct VrelTokenPartId
{
    std::uint8_t bytes[12];
};

/** Region of IVrelAPI::readBootMedia; little-endian numbers. */
struct VrelReadRegion
{
    std::uint32_t partition;   ///< partition index
    std::uint32_t startOffset; ///< address at which reading starts, in bytes
    std::uint32_t blockCount;  ///< blocks to read
};

/** Registers (eMMC) or descriptors (UFS) of one storage device; see the card report for the layouts. */
struct VrelCardInfo
{
    std::uint8_t bytes[828];
};

static_assert(std::is_standard_layout_v<VrelApiVersionRecord> && sizeof(VrelApiVersionRecord) == 260);
static_assert(offsetof(VrelApiVersionRecord, versionText) == 0);
static_assert(offsetof(VrelApiVersionRecord, textLength) == 256);

static_assert(std::is_standard_layout_v<VrelDeviceLocation> && sizeof(VrelDeviceLocation) == 2080);
static_assert(offsetof(VrelDeviceLocation, bus) == 0);
static_assert(offsetof(VrelDeviceLocation, ports) == 1);
static_assert(offsetof(VrelDeviceLocation, portCount) == 8);
static_assert(offsetof(VrelDeviceLocation, reserved) == 12);

static_assert(std::is_standard_layout_v<VrelDeviceList> && sizeof(VrelDeviceList) == 53000);
static_assert(offsetof(VrelDeviceList, count) == 0);
static_assert(offsetof(VrelDeviceList, names) == 4);
static_assert(offsetof(VrelDeviceList, reserved) == 0xC04);
static_assert(offsetof(VrelDeviceList, locations) == 0xC08);

static_assert(std::is_standard_layout_v<VrelIfpRecord> && sizeof(VrelIfpRecord) == 44);
static_assert(std::is_standard_layout_v<VrelPlatformId> && sizeof(VrelPlatformId) == 16);
static_assert(std::is_standard_layout_v<VrelIdResponse> && sizeof(VrelIdResponse) == 260);
static_assert(offsetof(VrelIdResponse, imageErrors) == 4);
static_assert(std::is_standard_layout_v<VrelTokenPartId> && sizeof(VrelTokenPartId) == 12);

static_assert(std::is_standard_layout_v<VrelReadRegion> && sizeof(VrelReadRegion) == 12);
static_assert(offsetof(VrelReadRegion, partition) == 0);
static_assert(offsetof(VrelReadRegion, startOffset) == 4);
static_assert(offsetof(VrelReadRegion, blockCount) == 8);

static_assert(std::is_standard_layout_v<VrelCardInfo> && sizeof(VrelCardInfo) == 828);

/** The vendor library's table of operations. */
class IVrelAPI
{
public:
    /** Slot 0. */
    virtual void getApiVersion(VrelApiVersionRecord* version) = 0;
    /** Slot 1. */
    virtual void reserved1() = 0;
    /** Slot 2. */
    virtual void reserved2() = 0;
    /** Slot 3. */
    virtual int listDevices(VrelDeviceList* devices, char* errorText) = 0;
    /** Slot 4. */
    virtual int idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oemId,
                         VrelPlatformId* uniqueId, std::uint32_t* responseFlags, VrelIdResponse* response,
                         char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 5. */
    virtual int startOver(std::uint32_t* flags, std::uint32_t* operation, std::uint32_t* operationContext,
                          char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 6. */
    virtual int fwRecovery(char const* modulePath, char const* serial, VrelIfpRecord* ifp, char* errorText,
                           VrelApiLogCallback log, void* context) = 0;
    /** Slot 7. */
    virtual int downloadFwOs(char const* modulePath, char const* fwImagePath, std::uint32_t* flags,
                             char const* osModulePath, char const* osImagePath, char const* serial,
                             char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 8. */
    virtual void reserved8() = 0;
    /** Slot 9. */
    virtual void reserved9() = 0;
    /** Slot 10. */
    virtual int eraseToken(char const* modulePath, std::uint8_t slot, char const* serial, char* errorText,
                           VrelApiLogCallback log, void* context) = 0;
    /** Slot 11. */
    virtual void reserved11() = 0;
    /** Slot 12. */
    virtual void reserved12() = 0;
    /** Slot 13. */
    virtual int configPartitions(char const* modulePath, char const* configPath, std::uint8_t deviceType,
                                 std::uint8_t deviceIndex, char const* serial, char* errorText,
                                 VrelApiLogCallback log, void* context) = 0;
    /** Slot 14. */
    virtual int getTokenPid(char const* modulePath, std::uint32_t flags, VrelTokenPartId* partId,
                            std::uint32_t* nonce, std::uint32_t* trustedTime, std::uint32_t* deviceId,
                            std::uint32_t* oemId, char const* serial, char* errorText, VrelApiLogCallback log,
                            void* context) = 0;
    /** Slot 15. */
    virtual int getCardInfo(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                            VrelCardInfo* info, std::uint32_t* size, char const* serial, char* errorText,
                            VrelApiLogCallback log, void* context) = 0;
    /** Slot 16. */
    virtual void reserved16() = 0;
    /** Slot 17. */
    virtual int clearRpmb(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                          char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 18. */
    virtual int idDeviceIfpFile(std::uint32_t flags, char const* ifpPath, std::uint32_t* oemId,
                                VrelPlatformId* uniqueId, std::uint32_t* responseFlags,
                                VrelIdResponse* response, char const* serial, char* errorText,
                                VrelApiLogCallback log, void* context) = 0;
    /** Slot 19. */
    virtual int writeToken(char const* modulePath, char const* tokenPath, std::uint8_t slot,
                           char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 20. */
    virtual int readToken(char const* modulePath, char const* targetPath, std::uint8_t slot,
                          char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 21. */
    virtual int setDeviceLifecycleStage(char const* modulePath, char const* tokenPath, char const* serial,
                                        char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 22. */
    virtual int oemIfpProvision(char const* modulePath, char const* ifpBlockPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 23. */
    virtual int getCardInfoToFile(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                                  char const* outputPath, char const* serial, char* errorText,
                                  VrelApiLogCallback log, void* context) = 0;
    /** Slot 24. */
    virtual int readBootMedia(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                              VrelReadRegion* region, char const* targetPath, char const* serial,
                              char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 25. */
    virtual int downloadOemKeyManifest(char const* modulePath, char const* manifestPath, char const* serial,
                                       char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 26. */
    virtual int setCapabilities(char const* modulePath, char const* capabilitiesPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) = 0;

protected:
    IVrelAPI() = default;
    IVrelAPI(IVrelAPI const&) = default;
    IVrelAPI& operator=(IVrelAPI const&) = default;
    ~IVrelAPI() = default;
};

extern "C" {
/** Takes one hold on the vendor library; null when none is to be had (another process has it). */
IVrelAPI* api_acquire();
/** Gives one hold back. */
void api_release();
}
