#include "tests/support/FakeVendor.h"

#include <QtGlobal>

#include <chrono>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <unistd.h>

/**
 * @file
 * The fake as a vendor library to be put in the emulator's place at run time. FAKE_VENDOR in the environment
 * holds lines to be obeyed, FAKE_DEED names what each operation does to the process that it is loaded in.
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
    {"exit", [](auto, auto) { std::exit(0); }},
    {"exit on a thread", [](auto, auto) { exitOnAThread(); }},
    {"quick_exit", [](auto, auto) { std::quick_exit(0); }},
    {"exit of a child", [](auto, auto) { ::fork() == 0 ? std::exit(0) : void(); }},
    {"child that stays", [](auto, auto) { ::fork() == 0 ? ::sleep(5), ::_exit(0) : void(); }},
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
        std::string const deed = variable("FAKE_DEED");
        if (deed == "exit on acquire")
            onAcquire = [] { std::exit(0); };
        else if (!deed.empty())
            onCall = s_deeds.at(deed);
    }
};

EnvironmentVendor const s_vendor;

} // namespace
