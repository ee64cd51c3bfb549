#include "tests/support/FakeVendor.h"

#include <cstdlib>

/**
 * @file
 * The fake as a vendor library to be put in the emulator's place at run time. FAKE_VENDOR in the environment
 * holds lines to be obeyed.
 */
namespace {

struct EnvironmentVendor : FakeVendor
{
    EnvironmentVendor()
    {
        tellsCalls = true;
        if (char const* const lines = std::getenv("FAKE_VENDOR"))
            obey(lines);
    }
};

EnvironmentVendor const s_vendor;

} // namespace
