#include "tests/support/FakeVendor.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace {

using Function = void (*)();
using Log = VrelApiLogCallback;
using Object = FakeVendor::Object;
using Text = char const*;
using U8 = std::uint8_t;
using U32 = std::uint32_t;

std::atomic<FakeVendor*> s_latest{nullptr};

/** Small numbers come as pointers when a caller has taken the wrong slot. */
bool isAddress(void const* pointer)
{
    constexpr std::uintptr_t kFirstPage = 4096;
    return reinterpret_cast<std::uintptr_t>(pointer) >= kFirstPage;
}

std::string shown(Text text)
{
    return isAddress(text) ? '"' + std::string(text) + '"' : "no text";
}

std::string shown(U32 number)
{
    return std::to_string(number);
}

/** Two digits a byte, and "xx*COUNT" for one that stands there ten times or more. */
std::string shownBytes(U8 const* bytes, std::size_t size)
{
    constexpr std::size_t kLongRun = 10;
    std::string text;
    for (std::size_t i = 0; i < size;) {
        auto const run = static_cast<std::size_t>(
            std::find_if(bytes + i, bytes + size, [&](U8 byte) { return byte != bytes[i]; }) - (bytes + i));
        char digits[3];
        static_cast<void>(std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned int>(bytes[i])));
        bool const isLong = run >= kLongRun;
        text += isLong ? (i == 0 ? "" : " ") + std::string(digits) + '*' + std::to_string(run) : digits;
        i += isLong ? run : 1;
    }
    return text;
}

template <typename Record>
std::string shown(Record* record)
{
    return isAddress(record) ? '[' + shownBytes(reinterpret_cast<U8 const*>(record), sizeof *record) + ']'
                             : "no record";
}

std::string faults(char const* error, Log log, void const* context)
{
    bool const isClear = error != nullptr && std::all_of(error, error + kVrelErrorTextSize,
                                                         [](char byte) { return byte == '\0'; });
    return std::string(isClear ? "" : " without a clear error text") +
           (log != nullptr ? "" : " without a callback") + (context != nullptr ? "" : " without a context");
}

/** Only records are for answers. */
template <typename Argument>
void give(FakeVendor const& /*vendor*/, Argument /*argument*/, std::size_t& /*place*/)
{
}

template <typename Record, typename = std::enable_if_t<!std::is_const_v<Record>>>
void give(FakeVendor const& vendor, Record* record, std::size_t& place)
{
    std::size_t const mine = place++;
    if (mine < vendor.outputs.size() && vendor.outputs[mine] && isAddress(record))
        vendor.outputs[mine]->copy(reinterpret_cast<char*>(record), sizeof *record);
}

int conclude(FakeVendor& vendor, std::string const& call, char* error, Log log, void* context)
{
    {
        std::lock_guard const lock(vendor.callsMutex);
        vendor.calls.push_back(call);
    }
    if (log != nullptr && vendor.onCall)
        vendor.onCall(log, context);
    if (log != nullptr && vendor.tellsCalls)
        log(2, call.c_str(), context);
    if (vendor.errorText && error != nullptr)
        vendor.errorText->copy(error, kVrelErrorTextSize);
    return vendor.result;
}

void getApiVersion(Object* self, VrelApiVersionRecord* version)
{
    *version = self->vendor->version;
}

/** Reads and writes no more of the list than callers do: it is large. */
int listDevices(Object* self, VrelDeviceList* list, char* error)
{
    FakeVendor& vendor = *self->vendor;
    bool isClear = list->count == 0;
    for (std::size_t i = 0; i < std::size(list->names); ++i) {
        VrelDeviceLocation& location = list->locations[i];
        isClear = isClear && list->names[i][0] == '\0' && location.bus == 0 && location.portCount == 0;
        if (!vendor.listsDevices)
            continue;
        std::size_t const length = strnlen(vendor.devices.names[i], sizeof list->names[i] - 1);
        std::memcpy(list->names[i], vendor.devices.names[i], length + 1);
        std::memcpy(&location, &vendor.devices.locations[i], offsetof(VrelDeviceLocation, reserved));
    }
    if (vendor.listsDevices)
        list->count = vendor.devices.count;
    if (vendor.isSilent)
        return vendor.result;
    return conclude(vendor, std::string("listDevices") + (isClear ? "" : " without a clear list"), error,
                    nullptr, nullptr);
}

int reserved(Object* self)
{
    self->vendor->calls.emplace_back("a reserved slot");
    static_cast<void>(std::fputs("Add the slot that was called to tests/support/FakeVendor.cpp\n", stderr));
    return 1;
}

/** The contract's table, written down a second time: what the binary has at each place, whatever IVrelAPI
 * says. */
class Table
{
public:
    Table()
    {
        m_slots.fill(reinterpret_cast<Function>(&reserved));
        m_slots[0] = reinterpret_cast<Function>(&getApiVersion);
        m_slots[3] = reinterpret_cast<Function>(&listDevices);
        add<4, U32, VrelIfpRecord*, U32*, VrelPlatformId*, U32*, VrelIdResponse*, Text>("idDevice");
        add<5, U32*, U32*, U32*, Text>("startOver");
        add<6, Text, Text, VrelIfpRecord*>("fwRecovery");
        add<7, Text, Text, U32*, Text, Text, Text>("downloadFwOs");
        add<10, Text, U8, Text>("eraseToken");
        add<13, Text, Text, U8, U8, Text>("configPartitions");
        add<14, Text, U32, VrelTokenPartId*, U32*, U32*, U32*, U32*, Text>("getTokenPid");
        add<15, Text, U8*, U8, VrelCardInfo*, U32*, Text>("getCardInfo");
        add<17, Text, U8, U8, Text>("clearRpmb");
        add<18, U32, Text, U32*, VrelPlatformId*, U32*, VrelIdResponse*, Text>("idDeviceIfpFile");
        add<19, Text, Text, U8, Text>("writeToken");
        add<20, Text, Text, U8, Text>("readToken");
        add<21, Text, Text, Text>("setDeviceLifecycleStage");
        add<22, Text, Text, Text>("oemIfpProvision");
        add<23, Text, U8*, U8, Text, Text>("getCardInfoToFile");
        add<24, Text, U8, U8, VrelReadRegion*, Text, Text>("readBootMedia");
        add<25, Text, Text, Text>("downloadOemKeyManifest");
        add<26, Text, Text, Text>("setCapabilities");
    }

    Function const* slots() const { return m_slots.data(); }

private:
    /** An operation; error text, callback and context end the arguments of each. */
    template <std::size_t Slot, typename... Arguments>
    struct Operation
    {
        static int call(Object* self, Arguments... arguments, char* error, Log log, void* context)
        {
            FakeVendor& vendor = *self->vendor;
            if (vendor.isSilent)
                return vendor.result;
            std::string text = s_name;
            ((text += ' ' + shown(arguments)), ...);
            std::size_t place = 0;
            (give(vendor, arguments, place), ...);
            return conclude(vendor, text + faults(error, log, context), error, log, context);
        }

        static inline char const* s_name = nullptr;
    };

    template <std::size_t Slot, typename... Arguments>
    void add(char const* name)
    {
        Operation<Slot, Arguments...>::s_name = name;
        m_slots[Slot] = reinterpret_cast<Function>(&Operation<Slot, Arguments...>::call);
    }

    std::array<Function, 27> m_slots{};
};

Function const* table()
{
    static Table const s_table;
    return s_table.slots();
}

/** The bytes that a word of an answer stands for. */
std::optional<std::string> bytesOf(std::string const& word)
{
    if (word == "-")
        return std::nullopt;
    std::string bytes;
    std::size_t const star = std::min(word.find('*'), word.size());
    for (std::size_t i = 0; i + 1 < star; i += 2)
        bytes += static_cast<char>(std::stoi(word.substr(i, 2), nullptr, 16));
    return star == word.size() ? bytes : std::string(std::stoul(word.substr(star + 1)), bytes.at(0));
}

} // namespace

FakeVendor::FakeVendor(bool silent)
    : isSilent(silent)
    , m_object{table(), this}
{
    s_latest = this;
}

FakeVendor::~FakeVendor()
{
    s_latest = nullptr;
}

void FakeVendor::obey(std::string const& lines)
{
    std::istringstream input(lines);
    for (std::string key; input >> key;) {
        std::string rest;
        std::getline(input >> std::ws, rest);
        std::istringstream words(rest);
        if (key == "device") {
            std::string location;
            std::string serial;
            words >> location >> serial;
            addDevice(location, serial);
        } else if (key == "answer") {
            outputs.clear();
            for (std::string word; words >> word;)
                outputs.push_back(bytesOf(word));
        } else if (key == "result") {
            result = std::stoi(rest);
        } else if (key == "error") {
            errorText = rest + '\0';
        } else if (key == "version") {
            version.textLength = -1;
            rest.copy(version.versionText, sizeof version.versionText - 1);
        }
    }
}

void FakeVendor::addDevice(std::string const& location, std::string const& serial)
{
    std::uint32_t const index = devices.count++;
    serial.copy(devices.names[index], sizeof devices.names[index]);
    VrelDeviceLocation& place = devices.locations[index];
    std::istringstream numbers(location);
    unsigned int number = 0;
    numbers >> number;
    place.bus = static_cast<U8>(number);
    while (numbers.ignore() >> number)
        place.ports[place.portCount++] = static_cast<U8>(number);
}

IVrelAPI* api_acquire()
{
    FakeVendor* const vendor = s_latest.load(std::memory_order_acquire);
    if (vendor == nullptr || vendor->isSilent)
        return vendor == nullptr ? nullptr : vendor->api();
    ++vendor->acquired;
    if (vendor->onAcquire)
        vendor->onAcquire();
    return vendor->isThere ? vendor->api() : nullptr;
}

void api_release()
{
    FakeVendor* const vendor = s_latest.load(std::memory_order_acquire);
    if (vendor != nullptr && !vendor->isSilent)
        ++vendor->released;
}
