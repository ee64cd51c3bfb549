#pragma once

#include <array>

/** A device that the API lists. */
struct ListedDevice
{
    char const* location;
    char const* serial;
};

constexpr std::size_t kListedDeviceCount = 24;

/** The devices that the API behind `api_acquire` lists; it does nothing else, and succeeds at that. */
std::array<ListedDevice, kListedDeviceCount> const& listedDevices();

/** A receiver for messages of the API, of which there are none. */
void ignoreApiMessage(unsigned long level, char const* text, void* context);
