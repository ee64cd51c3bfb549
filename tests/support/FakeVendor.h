#pragma once

#include "external/IVrelAPI.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/**
 * A vendor library as its binary has it: an object whose first word points to a table of functions. It notes
 * every call with its arguments, answers as it is told to, and lies where it is told to. The latest one that
 * lives is what `api_acquire` yields.
 */
class FakeVendor
{
public:
    /** @param silent notes and counts nothing: costs next to nothing */
    explicit FakeVendor(bool silent = false);
    ~FakeVendor();
    FakeVendor(FakeVendor const&) = delete;
    FakeVendor& operator=(FakeVendor const&) = delete;

    /**
     * Takes over lines of these forms:
     * - "device LOCATION SERIAL" adds a device to the list;
     * - "answer BYTES …" gives the outputs of operations, a word for each record that is pointed to:
     *   hexadecimal digits, "xx*COUNT" for one byte as often, "-" for nothing;
     * - "result NUMBER", "error TEXT" and "version TEXT".
     */
    void obey(std::string const& lines);
    void addDevice(std::string const& location, std::string const& serial);

    IVrelAPI* api() { return reinterpret_cast<IVrelAPI*>(&m_object); }

    /**
     * The operations with their arguments: texts in quotes, bytes in brackets, at the end what is wrong with
     * the error text, the callback or its context.
     */
    std::vector<std::string> calls;
    std::mutex callsMutex;   ///< held while a call is noted: devices are served side by side
    bool tellsCalls = false; ///< sends each call as a message, too
    bool const isSilent;

    int result = 0;
    std::optional<std::string> errorText;            ///< written as it is: no NUL is added
    std::vector<std::optional<std::string>> outputs; ///< bytes for each record, in their order
    VrelApiVersionRecord version = {};
    VrelDeviceList devices = {};
    bool listsDevices = true; ///< otherwise the list is left as it came

    std::function<void()> onAcquire;                       ///< done by `api_acquire`
    std::function<void(VrelApiLogCallback, void*)> onCall; ///< done by each operation on a device

    std::atomic<bool> isThere{true}; ///< whether `api_acquire` yields it
    std::atomic<int> acquired{0};
    std::atomic<int> released{0};

    /** What the table's functions get as the object that they are called on. */
    struct Object
    {
        void (*const* table)();
        FakeVendor* vendor;
    };

private:
    Object m_object;
};
