#include "emulator/UsbPath.h"

#include <charconv>

namespace VrelRig {

namespace {

constexpr std::size_t kMaximumDepth = 7;

/** Takes one number from 1 to 255 off the front of the text. */
std::optional<std::uint8_t> takeNumber(std::string_view& text)
{
    std::uint8_t number = 0;
    auto const parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec != std::errc() || number == 0)
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()));
    return number;
}

} // namespace

std::optional<UsbPath> UsbPath::parse(std::string_view text)
{
    auto const bus = takeNumber(text);
    if (!bus)
        return std::nullopt;
    UsbPath path = {*bus, {}};
    for (char separator = '-'; path.ports.empty() || !text.empty(); separator = '.') {
        if (text.empty() || text.front() != separator || path.ports.size() == kMaximumDepth)
            return std::nullopt;
        text.remove_prefix(1);
        auto const port = takeNumber(text);
        if (!port)
            return std::nullopt;
        path.ports.push_back(*port);
    }
    return path;
}

std::string UsbPath::portText() const
{
    std::string text;
    for (auto const port : ports)
        text += (text.empty() ? "" : ".") + std::to_string(port);
    return text;
}

} // namespace VrelRig
