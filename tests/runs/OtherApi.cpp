#include <cstdint>
#include <cstdlib>
#include <cstring>

/**
 * A vendor library as another compiler might have built it: nothing but a table of functions. Its version
 * shows that it was taken. OTHER_SECOND in the environment adds a second device with this serial number.
 */
namespace {

struct Object;

extern "C" void getApiVersion(Object* /*self*/, unsigned char* record)
{
    std::int32_t const untilNul = -1;
    std::memcpy(record, "other", sizeof "other");
    std::memcpy(record + 256, &untilNul, sizeof untilNul);
}

extern "C" int refuse()
{
    return 1;
}

extern "C" int listDevices(Object* /*self*/, unsigned char* list, char* /*error*/)
{
    char const* const second = std::getenv("OTHER_SECOND");
    std::uint32_t const count = second == nullptr ? 1 : 2;
    std::int32_t const portCount = 2;
    unsigned char const location[] = {7, 1, 5};
    std::memcpy(list, &count, sizeof count);
    std::memcpy(list + 4, "OTHER1", sizeof "OTHER1");
    std::memcpy(list + 0xC08, location, sizeof location);
    std::memcpy(list + 0xC08 + 8, &portCount, sizeof portCount);
    if (second != nullptr) {
        unsigned char const nextLocation[] = {7, 1, 6};
        std::strncpy(reinterpret_cast<char*>(list + 4 + 128), second, 127);
        std::memcpy(list + 0xC08 + 2080, nextLocation, sizeof nextLocation);
        std::memcpy(list + 0xC08 + 2080 + 8, &portCount, sizeof portCount);
    }
    return 0;
}

extern "C" int eraseToken(Object* /*self*/, char const* module, unsigned char slot, char const* serial,
                          char* error, void (*log)(unsigned long, char const*, void*), void* context)
{
    log(2, module, context);
    log(2, serial, context);
    std::strcpy(error, slot == 9 ? "slot nine" : "another slot");
    return -3;
}

using Slot = void (*)();

template <typename Function>
Slot slot(Function* function)
{
    return reinterpret_cast<Slot>(function);
}

struct Object
{
    Slot const* table;
};

constexpr int kSlotCount = 27;
constexpr int kListDevices = 3;
constexpr int kEraseToken = 10;

} // namespace

extern "C" Object* api_acquire()
{
    static Slot table[kSlotCount];
    static Object object{table};
    for (Slot& entry : table)
        entry = slot(&refuse);
    table[0] = slot(&getApiVersion);
    table[kListDevices] = slot(&listDevices);
    table[kEraseToken] = slot(&eraseToken);
    return &object;
}

extern "C" void api_release()
{
}
