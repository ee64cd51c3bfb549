#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VrelRig {

/** Where a USB device is plugged in: "1-4.2" is bus 1, port 4 of the root hub, port 2 of the hub there. */
struct UsbPath
{
    std::uint8_t bus = 0;
    std::vector<std::uint8_t> ports; ///< 1 to 7 ports, the root hub's first

    /** @return the path; nothing for a text that is not BUS-PORT[.PORT...] with numbers from 1 to 255 */
    static std::optional<UsbPath> parse(std::string_view text);

    /** @return the ports joined by '.', as in the file `devpath` */
    std::string portText() const;
};

} // namespace VrelRig
