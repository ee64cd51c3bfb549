#pragma once

#include "tests/support/FakeVendor.h"

/** The device that commands are run on. */
constexpr char const* kSerial = "0A1B2C3D";

/** A vendor library whose operations succeed and take next to no time. */
struct SilentVendor : FakeVendor
{
    SilentVendor()
        : FakeVendor(true)
    {
    }
};
