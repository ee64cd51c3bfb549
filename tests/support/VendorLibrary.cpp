#include "tests/support/FakeVendor.h"

#include <QtGlobal>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <unistd.h>

/**
 * @file
 * The fake as a vendor library to be put in the emulator's place at run time. FAKE_VENDOR in the environment
 * holds lines to be obeyed, FAKE_DEED names what each operation does to the process that it is loaded in,
 * FAKE_WHEN another time for it: "loaded", "acquired", "unloaded".
 */
namespace {

using std::chrono::milliseconds;

[[noreturn]] void exitOnAThread()
{
    std::thread([] {
        std::this_thread::sleep_for(milliseconds(500)); // for a terminal to show that work goes on
        std::exit(0);
    }).join();
    std::abort();
}

/** While a line that nobody reads yet keeps what is to be said of the first one. */
[[noreturn]] void exitOnThreads(VrelApiLogCallback log, void* context)
{
    constexpr std::size_t kMoreThanAPipeHolds = 200000;
    constexpr int kThreads = 4;
    std::thread([=] { log(2, std::string(kMoreThanAPipeHolds, 'x').c_str(), context); }).detach();
    for (int i = 0; i < kThreads; ++i) {
        std::this_thread::sleep_for(milliseconds(100));
        std::thread([] { std::exit(0); }).detach();
    }
    for (;;)
        std::this_thread::sleep_for(milliseconds(1000));
}

[[noreturn]] void exitWhileTheLogIsTaken()
{
    std::thread([] {
        ::flockfile(stderr);
        ::pause();
    }).detach();
    std::this_thread::sleep_for(milliseconds(100));
    ::_exit(0);
}

void logForLong(VrelApiLogCallback log, void* context)
{
    constexpr int kTimes = 100;
    constexpr milliseconds kInterval(5);
    std::thread([=] {
        for (int i = 0; i < kTimes; ++i) {
            log(2, "late", context);
            std::this_thread::sleep_for(kInterval);
        }
    }).detach();
    std::this_thread::sleep_for(4 * kInterval);
}

/** What an operation may do besides its work. */
std::map<std::string, void (*)(VrelApiLogCallback, void*)> const s_deeds = {
    {"", nullptr},
    {"exit", [](auto, auto) { std::exit(0); }},
    {"exit on a thread", [](auto, auto) { exitOnAThread(); }},
    {"exit on threads", exitOnThreads},
    {"_exit while the log is taken", [](auto, auto) { exitWhileTheLogIsTaken(); }},
    {"_exit of a child", [](auto, auto) { ::fork() == 0 ? ::_exit(0) : void(); }},
    {"quick_exit", [](auto, auto) { std::quick_exit(0); }},
    {"_exit", [](auto, auto) { ::_exit(0); }},
    {"_Exit", [](auto, auto) { std::_Exit(0); }},
    {"exit of a child", [](auto, auto) { ::fork() == 0 ? std::exit(0) : void(); }},
    {"child that stays", [](auto, auto) { ::fork() == 0 ? ::sleep(30), ::_exit(0) : void(); }},
    {"close of all files", [](auto, auto) { ::close_range(STDERR_FILENO + 1, ~0U, 0); }},
    {"raw output", [](auto, auto) { static_cast<void>(::write(STDOUT_FILENO, "\r42%", 4)); }},
    {"warning of Qt", [](auto, auto) { qWarning("of Qt"); }},
    {"late lines", logForLong},
};

std::string variable(char const* name)
{
    char const* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

struct EnvironmentVendor : FakeVendor
{
    EnvironmentVendor()
    {
        tellsCalls = true;
        obey(variable("FAKE_VENDOR"));
        if (deed == nullptr)
            return;
        if (when == "acquired")
            onAcquire = [this] { deed(nullptr, nullptr); };
        else if (when.empty())
            onCall = deed;
        else if (when == "loaded")
            deed(nullptr, nullptr);
    }

    ~EnvironmentVendor()
    {
        if (deed != nullptr && when == "unloaded")
            deed(nullptr, nullptr);
    }

    void (*const deed)(VrelApiLogCallback, void*) = s_deeds.at(variable("FAKE_DEED"));
    std::string const when = variable("FAKE_WHEN");
};

EnvironmentVendor s_vendor;

} // namespace
