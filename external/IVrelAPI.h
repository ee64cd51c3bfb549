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
 * - texts are NUL-terminated UTF-8, never null, and stay valid for the length of the call only; an empty path
 *   stands for none where a slot says so;
 * - all that is pointed to is the caller's; an operation writes no more than the record and keeps no address;
 * - an operation that takes `errorText` returns 0 on success. On any other result it leaves a text there that
 *   it ends with a NUL, in the `kVrelErrorTextSize` bytes of the buffer, which comes filled with zeros. The
 *   results' values mean nothing else to callers; records are then not looked at;
 * - `serial` selects the device, as `listDevices` names it; empty, it is for the vendor library to choose.
 *   Storage devices are given by type (1 SPI flash, 2 eMMC, 3 UFS, 16 UFS with host performance booster) and
 *   index, from 0;
 * - `modulePath` names the RuX recovery module that the operation loads first. Files that are read or written
 *   are opened by the operation;
 * - an operation blocks, and may call `log` with `context` on the caller's thread until it returns, not
 *   afterwards. It throws nothing, and `log` throws nothing through it.
 *
 * Threads: one API object is called from several threads at a time, one for each device; what concerns one
 * device comes one call after the other. `listDevices` and `getApiVersion` may come at any time between.
 * A vendor library that cannot bear this needs a host that serves one device at a time (`--jobs 1`).
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
    /**
     * Slot 0: fills in the version text. The record comes filled with zeros; what does not change is an empty
     * text.
     */
    virtual void getApiVersion(VrelApiVersionRecord* version) = 0;
    /** Slot 1: reserved, never called. */
    virtual void reserved1() = 0;
    /** Slot 2: reserved, never called. */
    virtual void reserved2() = 0;
    /**
     * Slot 3: lists the devices in recovery mode at this moment, at most 24, each with serial number and USB
     * location. Of the list the count, and of each entry the name, the bus and the port count come as zero. A
     * list that claims more devices or ports than it holds is refused as a whole.
     */
    virtual int listDevices(VrelDeviceList* devices, char* errorText) = 0;
    /**
     * Slot 4: has the device identify itself, in emulation of `ifp`, which comes filled with zeros.
     * @param flags download command flags
     * @param oemId OEM platform ID; like all that follow it a result, filled with zeros by the caller
     */
    virtual int idDevice(std::uint32_t flags, VrelIfpRecord* ifp, std::uint32_t* oemId,
                         VrelPlatformId* uniqueId, std::uint32_t* responseFlags, VrelIdResponse* response,
                         char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /**
     * Slot 5: has the device start its download sequence over.
     * @param flags download command flags; what the operation leaves there is not looked at
     * @param operation result: the device's current operation
     * @param operationContext result: its context
     */
    virtual int startOver(std::uint32_t* flags, std::uint32_t* operation, std::uint32_t* operationContext,
                          char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /**
     * Slot 6: downloads the recovery module, with an IFP emulation record: the first bytes of a file, and
     * zeros where that has none.
     */
    virtual int fwRecovery(char const* modulePath, char const* serial, VrelIfpRecord* ifp, char* errorText,
                           VrelApiLogCallback log, void* context) = 0;
    /**
     * Slot 7: downloads firmware and, unless the paths are empty, an operating system.
     * @param flags download command flags; what the operation leaves there is not looked at
     */
    virtual int downloadFwOs(char const* modulePath, char const* fwImagePath, std::uint32_t* flags,
                             char const* osModulePath, char const* osImagePath, char const* serial,
                             char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 8: reserved, never called. */
    virtual void reserved8() = 0;
    /** Slot 9: reserved, never called. */
    virtual void reserved9() = 0;
    /** Slot 10: clears a token slot. */
    virtual int eraseToken(char const* modulePath, std::uint8_t slot, char const* serial, char* errorText,
                           VrelApiLogCallback log, void* context) = 0;
    /** Slot 11: reserved, never called. */
    virtual void reserved11() = 0;
    /** Slot 12: reserved, never called. */
    virtual void reserved12() = 0;
    /** Slot 13: partitions a storage device as the XML file says. */
    virtual int configPartitions(char const* modulePath, char const* configPath, std::uint8_t deviceType,
                                 std::uint8_t deviceIndex, char const* serial, char* errorText,
                                 VrelApiLogCallback log, void* context) = 0;
    /**
     * Slot 14: reads what a token is made for.
     * @param flags download command flags
     * @param partId part ID; like all that follow it a result, filled with zeros by the caller
     */
    virtual int getTokenPid(char const* modulePath, std::uint32_t flags, VrelTokenPartId* partId,
                            std::uint32_t* nonce, std::uint32_t* trustedTime, std::uint32_t* deviceId,
                            std::uint32_t* oemId, char const* serial, char* errorText, VrelApiLogCallback log,
                            void* context) = 0;
    /**
     * Slot 15: reads a storage device's registers (eMMC) or descriptors (UFS).
     * @param deviceType what the operation leaves there is not looked at
     * @param info result; comes as it is, not cleared
     * @param size bytes: of `info` when called, of what was filled in afterwards; 272 says that a UFS
     * device's attributes are among them
     */
    virtual int getCardInfo(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                            VrelCardInfo* info, std::uint32_t* size, char const* serial, char* errorText,
                            VrelApiLogCallback log, void* context) = 0;
    /** Slot 16: reserved, never called. */
    virtual void reserved16() = 0;
    /** Slot 17: clears the replay-protected memory block of a storage device. */
    virtual int clearRpmb(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                          char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 18: as slot 4, with the record in a file. */
    virtual int idDeviceIfpFile(std::uint32_t flags, char const* ifpPath, std::uint32_t* oemId,
                                VrelPlatformId* uniqueId, std::uint32_t* responseFlags,
                                VrelIdResponse* response, char const* serial, char* errorText,
                                VrelApiLogCallback log, void* context) = 0;
    /** Slot 19: writes the token in a file to a slot. */
    virtual int writeToken(char const* modulePath, char const* tokenPath, std::uint8_t slot,
                           char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 20: reads the token of a slot into a file, in a format of the vendor library's own. */
    virtual int readToken(char const* modulePath, char const* targetPath, std::uint8_t slot,
                          char const* serial, char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 21: applies a token that sets the device's lifecycle stage. */
    virtual int setDeviceLifecycleStage(char const* modulePath, char const* tokenPath, char const* serial,
                                        char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 22: provisions an OEM IFP block. */
    virtual int oemIfpProvision(char const* modulePath, char const* ifpBlockPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 23: as slot 15, with the result written to a file. */
    virtual int getCardInfoToFile(char const* modulePath, std::uint8_t* deviceType, std::uint8_t deviceIndex,
                                  char const* outputPath, char const* serial, char* errorText,
                                  VrelApiLogCallback log, void* context) = 0;
    /** Slot 24: reads blocks of a storage device into a file. The size of a block is the device's. */
    virtual int readBootMedia(char const* modulePath, std::uint8_t deviceType, std::uint8_t deviceIndex,
                              VrelReadRegion* region, char const* targetPath, char const* serial,
                              char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 25: provisions an OEM key manifest. */
    virtual int downloadOemKeyManifest(char const* modulePath, char const* manifestPath, char const* serial,
                                       char* errorText, VrelApiLogCallback log, void* context) = 0;
    /** Slot 26: applies a capabilities token. */
    virtual int setCapabilities(char const* modulePath, char const* capabilitiesPath, char const* serial,
                                char* errorText, VrelApiLogCallback log, void* context) = 0;

protected:
    IVrelAPI() = default;
    IVrelAPI(IVrelAPI const&) = default;
    IVrelAPI& operator=(IVrelAPI const&) = default;
    ~IVrelAPI() = default;
};

extern "C" {
/**
 * Takes one hold on the vendor library; null when none is to be had (another process has it). Holds of one
 * process may overlap, and share one object.
 */
IVrelAPI* api_acquire();
/** Gives one hold back. It comes without a hold, too, and then does nothing. */
void api_release();
}
