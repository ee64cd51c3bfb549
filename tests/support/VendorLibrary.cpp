#include "tests/support/FakeVendor.h"

#include <QtGlobal>

#include <chrono>
#include <cstdlib>
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

void act(std::string const& deed, VrelApiLogCallback log, void* context)
{
    if (deed == "exit")
        std::exit(0);
    if (deed == "exit on a thread")
        exitOnAThread();
    if (deed == "quick_exit")
        std::quick_exit(0);
    if (deed == "exit of a child" && ::fork() == 0)
        std::exit(0);
    if (deed == "raw output")
        static_cast<void>(::write(STDOUT_FILENO, "\r42%", 4));
    if (deed == "warning of Qt")
        qWarning("of Qt");
    if (deed == "late lines")
        logForLong(log, context);
}

struct EnvironmentVendor : FakeVendor
{
    EnvironmentVendor()
    {
        tellsCalls = true;
        if (char const* const lines = std::getenv("FAKE_VENDOR"))
            obey(lines);
        char const* const wanted = std::getenv("FAKE_DEED");
        if (wanted == nullptr)
            return;
        std::string const deed = wanted;
        if (deed == "exit on acquire")
            onAcquire = [] { std::exit(0); };
        onCall = [deed](VrelApiLogCallback log, void* context) { act(deed, log, context); };
    }
};

EnvironmentVendor const s_vendor;

} // namespace
